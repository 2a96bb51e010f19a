#include "app/cli/ArgumentParser.h"

#include <algorithm>

#include "app/cli/CommandErrors.h"

namespace wordloom::cli {
namespace {

const std::vector<std::string> kNoValues;

const OptionSpec* findSpec(const std::vector<OptionSpec>& specs, std::string_view argument) {
    if (argument.starts_with("--")) {
        const auto name = argument.substr(2);
        const auto it = std::find_if(specs.begin(), specs.end(),
                                     [&](const OptionSpec& s) { return s.name == name; });
        return it == specs.end() ? nullptr : &*it;
    }
    const auto name = argument.substr(1);
    const auto it = std::find_if(specs.begin(), specs.end(), [&](const OptionSpec& s) {
        return !s.shortName.empty() && s.shortName == name;
    });
    return it == specs.end() ? nullptr : &*it;
}

// "-" alone (standard input) and negative numbers are positionals, not options.
bool looksLikeOption(std::string_view argument) {
    if (argument.size() < 2 || argument.front() != '-') {
        return false;
    }
    return !(argument[1] >= '0' && argument[1] <= '9');
}

}  // namespace

bool ParsedArguments::has(std::string_view name) const {
    return options_.find(name) != options_.end();
}

std::optional<std::string> ParsedArguments::value(std::string_view name) const {
    const auto it = options_.find(name);
    if (it == options_.end() || it->second.empty()) {
        return std::nullopt;
    }
    return it->second.back();
}

const std::vector<std::string>& ParsedArguments::values(std::string_view name) const {
    const auto it = options_.find(name);
    return it == options_.end() ? kNoValues : it->second;
}

ParsedArguments parseArguments(const std::vector<std::string>& arguments,
                               const std::vector<OptionSpec>& specs) {
    ParsedArguments parsed;
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || !looksLikeOption(argument)) {
            parsed.positionals_.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        std::string_view spelled = argument;
        std::optional<std::string> inlineValue;
        if (const auto equals = spelled.find('=');
            spelled.starts_with("--") && equals != std::string_view::npos) {
            inlineValue = std::string(spelled.substr(equals + 1));
            spelled = spelled.substr(0, equals);
        }
        const OptionSpec* spec = findSpec(specs, spelled);
        if (!spec) {
            throw UsageError("unknown option \u201c" + std::string(spelled) + "\u201d");
        }
        auto& slot = parsed.options_[spec->name];
        if (spec->kind == OptionSpec::Kind::flag) {
            if (inlineValue) {
                throw UsageError("the option \u201c--" + spec->name + "\u201d takes no value");
            }
            slot.emplace_back();
            continue;
        }
        if (spec->kind == OptionSpec::Kind::value && !slot.empty()) {
            throw UsageError("the option \u201c--" + spec->name + "\u201d is given twice");
        }
        if (inlineValue) {
            slot.push_back(*inlineValue);
        } else if (i + 1 < arguments.size()) {
            slot.push_back(arguments[++i]);
        } else {
            throw UsageError("the option \u201c--" + spec->name + "\u201d needs a value");
        }
    }
    return parsed;
}

}  // namespace wordloom::cli
