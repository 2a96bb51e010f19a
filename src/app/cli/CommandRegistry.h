#pragma once

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/cli/ArgumentParser.h"

namespace wordloom::cli {

/// Everything one run of a command gets: its arguments (the command name removed), the
/// streams, and the environment.
class CommandInvocation {
  public:
    CommandInvocation(std::vector<std::string> arguments, std::istream& in, std::ostream& out,
                      std::ostream& err,
                      std::function<std::optional<std::string>(const std::string&)> environment);

    /// Parses the arguments against `specs` plus the options every command takes
    /// ("--data-dir DIR"). Throws UsageError.
    ParsedArguments parse(std::vector<OptionSpec> specs) const;

    const std::vector<std::string>& arguments() const { return arguments_; }
    std::istream& in() const { return in_; }
    std::ostream& out() const { return out_; }
    std::ostream& err() const { return err_; }
    std::optional<std::string> environment(const std::string& name) const;

    /// The "--data-dir" given before the command name, if any.
    std::optional<std::filesystem::path> globalDataDirectory;

  private:
    std::vector<std::string> arguments_;
    std::istream& in_;
    std::ostream& out_;
    std::ostream& err_;
    std::function<std::optional<std::string>(const std::string&)> environment_;
};

/// The data folder a command was pointed at: "--data-dir" after or before the command name.
std::optional<std::filesystem::path> dataDirectoryOption(const CommandInvocation& invocation,
                                                         const ParsedArguments& arguments);

/// One `wordloom` subcommand.
struct Command {
    std::string name;
    /// One line, e.g. "wordloom show ID|ABBREVIATION [--json]".
    std::string usage;
    /// One sentence for the command list.
    std::string summary;
    /// Does the work; returns the exit status (normally 0). Throws UsageError or CommandError.
    std::function<int(CommandInvocation&)> handler;
};

/// The commands `wordloom` knows, by name. Each command group registers its own.
class CommandRegistry {
  public:
    /// Throws std::logic_error when the name is taken.
    void add(Command command);
    const Command* find(std::string_view name) const;
    /// In name order.
    std::vector<const Command*> commands() const;

  private:
    std::map<std::string, Command, std::less<>> commands_;
};

}  // namespace wordloom::cli
