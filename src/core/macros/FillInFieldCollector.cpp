#include "core/macros/FillInFieldCollector.h"

#include <cstring>
#include <random>

#include "core/macros/MacroParser.h"

namespace wordloom {
namespace {

bool isNamed(const std::optional<std::string>& name) {
    return name && !name->empty();
}

std::string labelFor(const std::optional<std::string>& name, const char* fallback) {
    return isNamed(name) ? *name : std::string(fallback);
}

// A version 4 UUID from a per-thread generator: field ids only need to be distinct, and drawing
// from the system's random source costs a system call per field on every evaluation.
Uuid fieldIdentifier() {
    thread_local std::mt19937_64 generator{std::random_device{}()};
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < 16; i += 8) {
        std::uint64_t value = generator();
        std::memcpy(bytes.data() + i, &value, 8);
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return Uuid(bytes);
}

}  // namespace

std::string FillInFieldCollector::valueKey(std::string_view fillInPath,
                                           const std::optional<std::string>& name,
                                           std::string_view tag) {
    std::string key;
    if (!isNamed(name)) {
        key = unnamedKeyPrefix;
    }
    if (!fillInPath.empty()) {
        key += fillInPath;
        key += '/';
    }
    key += isNamed(name) ? std::string_view(*name) : tag;
    return key;
}

std::string FillInFieldCollector::childTag(std::string_view parentTag, std::size_t index) {
    std::string tag(parentTag);
    if (!tag.empty()) {
        tag += '.';
    }
    tag += std::to_string(index);
    return tag;
}

std::optional<FillInField> FillInFieldCollector::fieldFor(const MacroType& type,
                                                          std::string_view fillInPath,
                                                          std::string_view tag,
                                                          bool withIdentifier) {
    FillInField field;
    if (const auto* input = std::get_if<macro::Input>(&type)) {
        field.type = FillInType::singleLine;
        field.name = labelFor(input->name, "Input");
        field.valueKey = valueKey(fillInPath, input->name, tag);
        field.defaultValue = input->defaultValue.value_or("");
    } else if (const auto* textarea = std::get_if<macro::Textarea>(&type)) {
        field.type = FillInType::multiLine;
        field.name = labelFor(textarea->name, "Text");
        field.valueKey = valueKey(fillInPath, textarea->name, tag);
        field.defaultValue = textarea->defaultValue.value_or("");
    } else if (const auto* select = std::get_if<macro::Select>(&type)) {
        field.type = FillInType::dropdown;
        field.name = labelFor(select->name, "Choice");
        field.valueKey = valueKey(fillInPath, select->name, tag);
        field.options = select->options;
        // A dropdown always shows a choice: without a default, the first option.
        field.defaultValue = select->defaultValue.value_or(
            select->options.empty() ? std::string() : select->options.front());
    } else if (const auto* section = std::get_if<macro::Optional>(&type)) {
        field.type = FillInType::checkbox;
        field.name = labelFor(section->name, "Optional section");
        field.valueKey = valueKey(fillInPath, section->name, tag);
        field.defaultValue = section->defaultOn ? checkbox::on : checkbox::off;
    } else {
        return std::nullopt;
    }
    if (withIdentifier) {
        field.id = fieldIdentifier();
    }
    field.value = field.defaultValue;
    return field;
}

std::optional<FillInFieldCollector::Entry> FillInFieldCollector::entryFor(
    const MacroType& type, std::string_view fillInPath, std::string_view tag) {
    if (const auto* input = std::get_if<macro::Input>(&type)) {
        return Entry{valueKey(fillInPath, input->name, tag),
                     input->defaultValue ? std::string_view(*input->defaultValue) : ""};
    }
    if (const auto* textarea = std::get_if<macro::Textarea>(&type)) {
        return Entry{valueKey(fillInPath, textarea->name, tag),
                     textarea->defaultValue ? std::string_view(*textarea->defaultValue) : ""};
    }
    if (const auto* select = std::get_if<macro::Select>(&type)) {
        std::string_view fallback;
        if (!select->options.empty()) {
            fallback = select->options.front();
        }
        return Entry{valueKey(fillInPath, select->name, tag),
                     select->defaultValue ? std::string_view(*select->defaultValue) : fallback};
    }
    if (const auto* section = std::get_if<macro::Optional>(&type)) {
        return Entry{valueKey(fillInPath, section->name, tag),
                     section->defaultOn ? checkbox::on : checkbox::off};
    }
    return std::nullopt;
}

std::vector<FillInField> FillInFieldCollector::collect(std::string_view content,
                                                       std::string_view fillInPath,
                                                       std::string_view parentTag) {
    return collect(MacroParser::parse(content), fillInPath, parentTag);
}

std::vector<FillInField> FillInFieldCollector::collect(const std::vector<ParsedMacro>& macros,
                                                       std::string_view fillInPath,
                                                       std::string_view parentTag) {
    std::vector<FillInField> fields;
    for (std::size_t index = 0; index < macros.size(); ++index) {
        const MacroType& type = macros[index].type;
        const std::string* condition = nullptr;
        if (const auto* opening = std::get_if<macro::ConditionalIf>(&type)) {
            condition = &opening->condition;
        } else if (const auto* branch = std::get_if<macro::ConditionalElseIf>(&type)) {
            condition = &branch->condition;
        }
        if (condition) {
            auto inner = collect(*condition, fillInPath, childTag(parentTag, index));
            fields.insert(fields.end(), std::make_move_iterator(inner.begin()),
                          std::make_move_iterator(inner.end()));
        } else if (isFillInMacro(type)) {
            fields.push_back(*fieldFor(type, fillInPath, childTag(parentTag, index)));
        }
    }
    return fields;
}

}  // namespace wordloom
