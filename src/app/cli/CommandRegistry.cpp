#include "app/cli/CommandRegistry.h"

#include <cstdlib>
#include <stdexcept>

namespace wordloom::cli {

CommandInvocation::CommandInvocation(
    std::vector<std::string> arguments, std::istream& in, std::ostream& out, std::ostream& err,
    std::function<std::optional<std::string>(const std::string&)> environment)
    : arguments_(std::move(arguments)),
      in_(in),
      out_(out),
      err_(err),
      environment_(std::move(environment)) {}

ParsedArguments CommandInvocation::parse(std::vector<OptionSpec> specs) const {
    specs.push_back({"data-dir", OptionSpec::Kind::value});
    return parseArguments(arguments_, specs);
}

std::optional<std::string> CommandInvocation::environment(const std::string& name) const {
    return environment_ ? environment_(name) : std::nullopt;
}

std::optional<std::filesystem::path> dataDirectoryOption(const CommandInvocation& invocation,
                                                         const ParsedArguments& arguments) {
    if (auto dir = arguments.value("data-dir")) {
        return std::filesystem::path(*dir);
    }
    return invocation.globalDataDirectory;
}

void CommandRegistry::add(Command command) {
    auto name = command.name;
    if (!commands_.emplace(name, std::move(command)).second) {
        throw std::logic_error("The command \u201c" + name + "\u201d is registered twice.");
    }
}

const Command* CommandRegistry::find(std::string_view name) const {
    const auto it = commands_.find(name);
    return it == commands_.end() ? nullptr : &it->second;
}

std::vector<const Command*> CommandRegistry::commands() const {
    std::vector<const Command*> all;
    for (const auto& [name, command] : commands_) {
        all.push_back(&command);
    }
    return all;
}

}  // namespace wordloom::cli
