#include "app/cli/MacroJson.h"

#include "core/base/JsonWriter.h"

namespace wordloom::cli {
namespace {

std::string_view fillInTypeName(FillInType type) {
    switch (type) {
        case FillInType::singleLine:
            return "singleLine";
        case FillInType::multiLine:
            return "multiLine";
        case FillInType::dropdown:
            return "dropdown";
        case FillInType::checkbox:
            return "checkbox";
    }
    return "";
}

void optionalField(JsonWriter& json, std::string_view name, const std::optional<std::string>& v) {
    if (v) {
        json.field(name, std::string_view(*v));
    }
}

void optionalField(JsonWriter& json, std::string_view name, const std::optional<std::int64_t>& v) {
    if (v) {
        json.field(name, *v);
    }
}

void stringArray(JsonWriter& json, std::string_view name, const std::vector<std::string>& items) {
    json.key(name);
    json.beginArray();
    for (const std::string& item : items) {
        json.value(std::string_view(item));
    }
    json.endArray();
}

// The arguments of one macro kind, keys sorted; absent optional arguments are left out.
void writeArguments(JsonWriter& json, const MacroType& type) {
    json.key("arguments");
    json.beginObject();
    std::visit(
        [&](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, macro::Date>) {
                optionalField(json, "format", value.format);
                if (value.offset) {
                    json.key("offset");
                    json.beginObject();
                    json.field("unit", rawValue(value.offset->unit));
                    json.field("value", value.offset->value);
                    json.endObject();
                }
            } else if constexpr (std::is_same_v<T, macro::Time> ||
                                 std::is_same_v<T, macro::Today> ||
                                 std::is_same_v<T, macro::Tomorrow> ||
                                 std::is_same_v<T, macro::Yesterday> ||
                                 std::is_same_v<T, macro::Now>) {
                optionalField(json, "format", value.format);
            } else if constexpr (std::is_same_v<T, macro::Input>) {
                optionalField(json, "defaultValue", value.defaultValue);
                optionalField(json, "name", value.name);
                optionalField(json, "width", value.width);
            } else if constexpr (std::is_same_v<T, macro::Textarea>) {
                optionalField(json, "cols", value.cols);
                optionalField(json, "defaultValue", value.defaultValue);
                optionalField(json, "name", value.name);
                optionalField(json, "rows", value.rows);
            } else if constexpr (std::is_same_v<T, macro::Select>) {
                optionalField(json, "defaultValue", value.defaultValue);
                optionalField(json, "name", value.name);
                stringArray(json, "options", value.options);
            } else if constexpr (std::is_same_v<T, macro::Optional>) {
                json.field("defaultOn", value.defaultOn);
                optionalField(json, "name", value.name);
            } else if constexpr (std::is_same_v<T, macro::ConditionalIf> ||
                                 std::is_same_v<T, macro::ConditionalElseIf>) {
                json.field("condition", std::string_view(value.condition));
            } else if constexpr (std::is_same_v<T, macro::AI>) {
                optionalField(json, "model", value.model);
                json.field("prompt", std::string_view(value.prompt));
                optionalField(json, "provider", value.provider);
            } else if constexpr (std::is_same_v<T, macro::Key>) {
                json.field("keyName", std::string_view(value.keyName));
            } else if constexpr (std::is_same_v<T, macro::Snippet>) {
                json.field("abbreviation", std::string_view(value.abbreviation));
            } else if constexpr (std::is_same_v<T, macro::JavaScript>) {
                json.field("code", std::string_view(value.code));
            } else if constexpr (std::is_same_v<T, macro::Random>) {
                json.field("lower", value.lower);
                json.field("upper", value.upper);
            }
        },
        type);
    json.endObject();
}

}  // namespace

std::string macroEvaluationResultJson(const MacroEvaluationResult& result) {
    JsonWriter json;
    json.beginObject();
    json.key("cursorCandidates");
    json.beginArray();
    for (std::size_t candidate : result.cursorCandidates) {
        json.value(static_cast<std::uint64_t>(candidate));
    }
    json.endArray();
    json.key("cursorPosition");
    if (result.cursorPosition) {
        json.value(static_cast<std::uint64_t>(*result.cursorPosition));
    } else {
        json.null();
    }
    json.field("expandedContent", std::string_view(result.expandedContent));
    json.key("fillInFields");
    json.beginArray();
    for (const FillInField& field : result.fillInFields) {
        json.beginObject();
        json.field("defaultValue", std::string_view(field.defaultValue));
        json.field("name", std::string_view(field.name));
        stringArray(json, "options", field.options);
        json.field("type", fillInTypeName(field.type));
        json.field("value", std::string_view(field.value));
        json.field("valueKey", std::string_view(field.valueKey));
        json.endObject();
    }
    json.endArray();
    json.key("keystrokes");
    json.beginArray();
    for (const KeystrokeAction& action : result.keystrokes) {
        json.beginObject();
        json.field("key", rawValue(action.key));
        json.field("position", static_cast<std::uint64_t>(action.position));
        json.endObject();
    }
    json.endArray();
    stringArray(json, "macroErrors", result.macroErrors);
    json.key("pendingAIRequests");
    json.beginArray();
    for (const PendingAIRequest& request : result.pendingAIRequests) {
        json.beginObject();
        optionalField(json, "model", request.model);
        json.field("prompt", std::string_view(request.prompt));
        optionalField(json, "provider", request.provider);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.take() + "\n";
}

std::string parsedMacrosJson(const std::vector<ParsedMacro>& macros) {
    JsonWriter json;
    json.beginArray();
    for (const ParsedMacro& parsed : macros) {
        json.beginObject();
        writeArguments(json, parsed.type);
        json.field("originalText", std::string_view(parsed.originalText));
        json.key("range");
        json.beginObject();
        json.field("end", static_cast<std::uint64_t>(parsed.range.end));
        json.field("start", static_cast<std::uint64_t>(parsed.range.start));
        json.endObject();
        json.field("type", macroTypeName(parsed.type));
        json.endObject();
    }
    json.endArray();
    return json.take() + "\n";
}

}  // namespace wordloom::cli
