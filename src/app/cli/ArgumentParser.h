#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wordloom::cli {

/// One option a command accepts: "--name" (or a short alias such as "-o").
struct OptionSpec {
    enum class Kind {
        flag,          // present or not
        value,         // takes one value; given twice is a usage error
        repeatedValue  // takes one value each time; may be given many times
    };
    std::string name;  // without the dashes, e.g. "abbreviation"
    Kind kind = Kind::flag;
    std::string shortName = {};  // e.g. "o" for "-o"
};

/// What a command line said, by option name.
class ParsedArguments {
  public:
    bool has(std::string_view name) const;
    std::optional<std::string> value(std::string_view name) const;
    const std::vector<std::string>& values(std::string_view name) const;
    const std::vector<std::string>& positionals() const { return positionals_; }

  private:
    friend ParsedArguments parseArguments(const std::vector<std::string>&,
                                          const std::vector<OptionSpec>&);
    std::map<std::string, std::vector<std::string>, std::less<>> options_;
    std::vector<std::string> positionals_;
};

/// Splits `arguments` into options and positionals. Accepts "--name value", "--name=value",
/// "-x value", and "--" to end the options. Throws UsageError for an unknown option, a missing
/// value, a value given to a flag, or a single-value option given twice.
ParsedArguments parseArguments(const std::vector<std::string>& arguments,
                               const std::vector<OptionSpec>& specs);

}  // namespace wordloom::cli
