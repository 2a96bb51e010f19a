#include "core/macros/InlineParameterParser.h"

#include <set>

#include "core/base/Text.h"
#include "core/macros/CharacterView.h"
#include "core/macros/FillInFieldCollector.h"

namespace wordloom {
namespace {

std::optional<std::string> checkboxValue(std::string_view argument) {
    std::string word = text::lowercased(text::trimWhitespaceAndNewlines(argument));
    if (word == "1" || word == "true" || word == "yes" || word == "on") {
        return std::string(checkbox::on);
    }
    if (word == "0" || word == "false" || word == "no" || word == "off") {
        return std::string(checkbox::off);
    }
    return std::nullopt;
}

std::optional<std::string> dropdownValue(const FillInField& field, const std::string& argument) {
    if (field.options.empty()) {
        return argument;
    }
    for (const std::string& option : field.options) {
        if (option == argument) {
            return option;
        }
    }
    std::string_view trimmed = text::trimWhitespaceAndNewlines(argument);
    for (const std::string& option : field.options) {
        if (text::equalsIgnoringCase(option, trimmed)) {
            return option;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<ParsedInlineInvocation> InlineParameterParser::parse(std::string_view typedText,
                                                                   std::string_view abbreviation,
                                                                   bool caseSensitive) {
    if (abbreviation.empty()) {
        return std::nullopt;
    }
    CharacterView typed(typedText);
    const std::size_t abbreviationLength = text::characterCount(abbreviation);
    if (typed.size() <= abbreviationLength) {
        return std::nullopt;
    }
    std::string_view typedAbbreviation = typed.slice(0, abbreviationLength);
    bool matches = caseSensitive ? typedAbbreviation == abbreviation
                                 : text::equalsIgnoringCase(typedAbbreviation, abbreviation);
    if (!matches || !typed.is(abbreviationLength, '<')) {
        return std::nullopt;
    }
    std::string_view body = typed.slice(abbreviationLength + 1, typed.size());
    if (body.empty() || body.find_first_of("\r\n") != std::string_view::npos) {
        return std::nullopt;
    }

    ParsedInlineInvocation invocation;
    invocation.typedAbbreviation = std::string(typedAbbreviation);
    CharacterView characters(body);
    std::string current;
    for (std::size_t i = 0; i < characters.size(); ++i) {
        if (characters.is(i, '\\')) {
            if (i + 1 < characters.size()) {
                ++i;
            }
            current += characters.at(i);
        } else if (characters.is(i, '<')) {
            invocation.arguments.push_back(std::move(current));
            current.clear();
        } else if (characters.is(i, '>') && i + 1 == characters.size()) {
            invocation.hasExplicitClosingBracket = true;
        } else {
            current += characters.at(i);
        }
    }
    invocation.arguments.push_back(std::move(current));
    return invocation;
}

std::map<std::string, std::string> InlineParameterParser::bind(
    const std::vector<FillInField>& fields, const std::vector<std::string>& arguments) {
    std::map<std::string, std::string> values;
    std::set<std::string> seenKeys;
    std::size_t nextArgument = 0;
    for (const FillInField& field : fields) {
        if (nextArgument == arguments.size()) {
            break;
        }
        if (!seenKeys.insert(field.valueKey).second) {
            continue;
        }
        const std::string& argument = arguments[nextArgument++];
        std::optional<std::string> value;
        switch (field.type) {
            case FillInType::checkbox:
                value = checkboxValue(argument);
                break;
            case FillInType::dropdown:
                value = dropdownValue(field, argument);
                break;
            case FillInType::singleLine:
            case FillInType::multiLine:
                value = argument;
                break;
        }
        if (value) {
            values[field.valueKey] = std::move(*value);
        }
    }
    return values;
}

std::vector<FillInField> InlineParameterParser::fillableFields(std::string_view content) {
    return FillInFieldCollector::collect(content);
}

}  // namespace wordloom
