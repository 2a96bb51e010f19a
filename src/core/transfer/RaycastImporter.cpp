#include "core/transfer/RaycastImporter.h"

#include <map>
#include <optional>
#include <vector>

#include "core/base/JsonReader.h"
#include "core/base/Text.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/MacroWriting.h"

namespace wordloom {
namespace {

struct Placeholder {
    std::string name;
    std::map<std::string, std::string> attributes;
    std::vector<std::string> modifiers;
};

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
}

// "{name key="value" key=value | modifier}" from `at` (the "{"); nothing when the text there
// is not of that shape, which then stays as written.
std::optional<Placeholder> parsePlaceholder(std::string_view text, std::size_t at,
                                            std::size_t* end) {
    std::size_t i = at + 1;
    Placeholder placeholder;
    while (i < text.size() && isNameCharacter(text[i])) {
        placeholder.name += text[i++];
    }
    if (placeholder.name.empty()) {
        return std::nullopt;
    }
    auto skipBlanks = [&] {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t')) {
            ++i;
        }
    };
    while (true) {
        skipBlanks();
        if (i >= text.size()) {
            return std::nullopt;
        }
        if (text[i] == '}') {
            *end = i + 1;
            return placeholder;
        }
        if (text[i] == '|') {
            ++i;
            skipBlanks();
            std::string modifier;
            while (i < text.size() && isNameCharacter(text[i])) {
                modifier += text[i++];
            }
            if (modifier.empty()) {
                return std::nullopt;
            }
            placeholder.modifiers.push_back(modifier);
            continue;
        }
        std::string key;
        while (i < text.size() && isNameCharacter(text[i])) {
            key += text[i++];
        }
        if (key.empty() || i >= text.size() || text[i] != '=') {
            return std::nullopt;
        }
        ++i;
        std::string value;
        if (i < text.size() && text[i] == '"') {
            ++i;
            while (i < text.size() && text[i] != '"') {
                if (text[i] == '\\' && i + 1 < text.size()) {
                    ++i;
                }
                value += text[i++];
            }
            if (i >= text.size()) {
                return std::nullopt;
            }
            ++i;
        } else {
            while (i < text.size() && text[i] != ' ' && text[i] != '}' && text[i] != '|') {
                value += text[i++];
            }
        }
        placeholder.attributes[key] = value;
    }
}

std::optional<std::string> attribute(const Placeholder& p, const char* key) {
    const auto it = p.attributes.find(key);
    return it == p.attributes.end() ? std::nullopt : std::optional(it->second);
}

// Raycast's offset units are m h d M y (minutes, hours, days, months, years); ours are
// M H d m y. One term only: "+2y +5M" has no single counterpart.
std::optional<std::string> convertOffset(std::string_view offset) {
    const auto trimmed = text::trimWhitespaceAndNewlines(offset);
    if (trimmed.size() < 3 || (trimmed[0] != '+' && trimmed[0] != '-')) {
        return std::nullopt;
    }
    const auto digits = trimmed.substr(1, trimmed.size() - 2);
    for (const char c : digits) {
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
    }
    std::string unit;
    switch (trimmed.back()) {
        case 'm':
            unit = "M";
            break;
        case 'h':
            unit = "H";
            break;
        case 'd':
            unit = "d";
            break;
        case 'M':
            unit = "m";
            break;
        case 'y':
            unit = "y";
            break;
        default:
            return std::nullopt;
    }
    return std::string(1, trimmed[0]) + std::string(digits) + unit;
}

class Converter {
  public:
    Converter(const std::unordered_map<std::string, std::string>& keywords,
              std::set<std::string>& kinds)
        : keywords_(keywords), kinds_(kinds) {}

    std::optional<std::string> convert(const Placeholder& p) {
        if (!p.modifiers.empty()) {
            kinds_.insert(
                "snippets apply Raycast modifiers (uppercase, trim, ...), which were "
                "dropped");
        }
        if (p.name == "clipboard") {
            if (attribute(p, "offset").value_or("0") != "0") {
                kinds_.insert(
                    "snippets insert older clipboard entries; the current clipboard "
                    "is used");
            }
            return "{{clipboard}}";
        }
        if (p.name == "cursor") {
            return "{{cursor}}";
        }
        if (p.name == "selection") {
            return "{{selected}}";
        }
        if (p.name == "uuid") {
            return "{{uuid}}";
        }
        if (p.name == "date" || p.name == "time" || p.name == "datetime" || p.name == "day") {
            return dateMacro(p);
        }
        if (p.name == "argument") {
            return argumentMacro(p);
        }
        if (p.name == "snippet") {
            const auto name = attribute(p, "name").value_or("");
            if (const auto it = keywords_.find(name); it != keywords_.end()) {
                return "{{snippet:" + it->second + "}}";
            }
            kinds_.insert(
                "snippets insert a Raycast snippet that has no keyword here, kept as "
                "text");
            return std::nullopt;
        }
        kinds_.insert("snippets use Raycast placeholders Wordloom has no macro for (" + p.name +
                      "), kept as text");
        return std::nullopt;
    }

  private:
    std::string dateMacro(const Placeholder& p) {
        if (attribute(p, "locale")) {
            kinds_.insert("snippets set a date locale; the system's locale is used");
        }
        std::string offset;
        if (const auto written = attribute(p, "offset")) {
            if (auto converted = convertOffset(*written)) {
                offset = *converted;
            } else {
                kinds_.insert(
                    "snippets shift dates by more than one unit, which Wordloom "
                    "cannot; the date is not shifted");
            }
        }
        auto format = attribute(p, "format");
        if (p.name == "day" && !format) {
            format = "EEEE";
        }
        if (format) {
            return "{{" + std::string(p.name == "time" && offset.empty() ? "time" : "date") +
                   offset + ":" + *format + "}}";
        }
        if (!offset.empty()) {
            const char* pattern = p.name == "time"       ? "HH:mm"
                                  : p.name == "datetime" ? "yyyy-MM-dd HH:mm"
                                                         : "";
            return macro_writing::date(offset, pattern);
        }
        return p.name == "datetime" ? "{{now}}" : "{{" + p.name + "}}";
    }

    std::string argumentMacro(const Placeholder& p) {
        auto name = attribute(p, "name");
        if (!name) {
            name = "arg" + std::to_string(++unnamed_);
        }
        const auto defaultValue = attribute(p, "default");
        if (const auto options = attribute(p, "options")) {
            std::vector<std::string> items;
            std::string_view rest = *options;
            while (true) {
                const auto comma = rest.find(',');
                items.emplace_back(text::trimWhitespaceAndNewlines(rest.substr(0, comma)));
                if (comma == std::string_view::npos) {
                    break;
                }
                rest.remove_prefix(comma + 1);
            }
            return macro_writing::select(*name, items, defaultValue);
        }
        return macro_writing::input(*name, defaultValue);
    }

    const std::unordered_map<std::string, std::string>& keywords_;
    std::set<std::string>& kinds_;
    int unnamed_ = 0;
};

}  // namespace

std::string RaycastImporter::convertPlaceholders(
    std::string_view text, const std::unordered_map<std::string, std::string>& keywordsByName,
    std::set<std::string>& kinds) {
    Converter converter(keywordsByName, kinds);
    std::string out;
    std::size_t i = 0;
    while (i < text.size()) {
        const auto open = text.find('{', i);
        if (open == std::string_view::npos) {
            break;
        }
        out.append(text.substr(i, open - i));
        std::size_t end = 0;
        const auto placeholder = parsePlaceholder(text, open, &end);
        const auto converted = placeholder ? converter.convert(*placeholder) : std::nullopt;
        if (converted) {
            out += *converted;
            i = end;
        } else {
            out += '{';
            i = open + 1;
        }
    }
    out.append(text.substr(i));
    return out;
}

ImportDocument RaycastImporter::importText(std::string_view text, const std::string& fileName,
                                           Timestamp now) {
    std::optional<JsonDocument> json;
    try {
        json.emplace(text);
    } catch (const JsonError& error) {
        throw ImportError("\u201c" + fileName + "\u201d is not valid JSON: " + error.what());
    }
    auto list = json::asArray(json->root());
    if (!list) {
        if (const auto object = json::asObject(json->root())) {
            if (const auto inner = json::member(*object, "snippets")) {
                list = json::asArray(*inner);
            }
        }
    }
    if (!list) {
        throw ImportError("\u201c" + fileName +
                          "\u201d is not a Raycast snippet export: it is "
                          "not a list of snippets.");
    }
    struct Entry {
        std::string name;
        std::string text;
        std::string keyword;
    };
    std::vector<Entry> entries;
    std::unordered_map<std::string, std::string> keywordsByName;
    for (auto element : *list) {
        const auto object = json::asObject(element);
        if (!object) {
            continue;
        }
        auto field = [&](const char* key) {
            const auto value = json::member(*object, key);
            return std::string(value ? json::asString(*value).value_or("") : "");
        };
        Entry entry{field("name"), field("text"), field("keyword")};
        if (!entry.keyword.empty()) {
            keywordsByName.emplace(entry.name, entry.keyword);
        }
        if (entries.size() >= kMaxImportedSnippets) {
            throw ImportError("The file holds more than " + std::to_string(kMaxImportedSnippets) +
                              " snippets, more than one import takes. Split it and import the "
                              "parts one by one.");
        }
        entries.push_back(std::move(entry));
    }
    ImportDocument document;
    document.format = ImportFormat::raycast;
    for (auto& entry : entries) {
        std::set<std::string> kinds;
        auto snippet = importedSnippet(ImportSourceType::raycastJSON, fileName, now);
        snippet.label = std::move(entry.name);
        snippet.abbreviation = std::move(entry.keyword);
        snippet.content = convertPlaceholders(entry.text, keywordsByName, kinds);
        for (const auto& kind : kinds) {
            document.notes.count(kind);
        }
        document.snippets.push_back(std::move(snippet));
    }
    return document;
}

}  // namespace wordloom
