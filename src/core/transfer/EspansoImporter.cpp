#include "core/transfer/EspansoImporter.h"

#include <yaml-cpp/yaml.h>

#include <unicode/regex.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <unordered_set>

#include "core/base/FileIO.h"
#include "core/base/Text.h"
#include "core/transfer/DateFormatConversion.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/MacroWriting.h"

namespace wordloom {
namespace {

namespace fs = std::filesystem;

constexpr const char* kUndefinedVariable =
    "snippets refer to espanso variables that are not defined, kept as text";

// Files followed through `imports` and `includes`; a longer chain is a mistake or a trap.
constexpr std::size_t kMaxMatchFiles = 10'000;

struct Variable {
    std::string name;
    std::string type;
    YAML::Node params;
};

struct MatchFile {
    fs::path path;
    std::string groupName;
    YAML::Node root;
    std::vector<Variable> globals;
    std::vector<fs::path> imports;
    // The application a config limits this file to (espanso's filter_class).
    std::optional<std::string> onlyInApplication;
};

std::optional<std::string> scalar(const YAML::Node& node) {
    if (node && node.IsScalar()) {
        return node.Scalar();
    }
    return std::nullopt;
}

std::optional<std::string> scalarAt(const YAML::Node& map, const char* key) {
    if (!map || !map.IsMap()) {
        return std::nullopt;
    }
    return scalar(map[key]);
}

bool boolAt(const YAML::Node& map, const char* key) {
    const auto text = scalarAt(map, key);
    return text && (*text == "true" || *text == "yes" || *text == "True");
}

std::vector<std::string> stringList(const YAML::Node& node) {
    std::vector<std::string> out;
    if (node && node.IsSequence()) {
        for (const auto& item : node) {
            if (auto text = scalar(item)) {
                out.push_back(std::move(*text));
            }
        }
    }
    return out;
}

std::vector<Variable> readVariables(const YAML::Node& node) {
    std::vector<Variable> out;
    if (!node || !node.IsSequence()) {
        return out;
    }
    for (const auto& item : node) {
        auto name = scalarAt(item, "name");
        auto type = scalarAt(item, "type");
        if (name && type) {
            out.push_back({std::move(*name), std::move(*type), item["params"]});
        }
    }
    return out;
}

YAML::Node parseYaml(std::string_view text, const std::string& fileName) {
    try {
        return YAML::Load(std::string(text));
    } catch (const YAML::Exception& error) {
        throw ImportError("\u201c" + fileName + "\u201d is not valid YAML: " + error.what());
    }
}

// Choice values: a list of strings, a list of {label, id} (the id is what gets inserted), or
// one string with an option per line.
std::vector<std::string> choiceValues(const YAML::Node& values, std::set<std::string>& kinds) {
    std::vector<std::string> out;
    if (!values) {
        return out;
    }
    if (values.IsScalar()) {
        std::string_view rest = values.Scalar();
        while (!rest.empty()) {
            const auto end = rest.find('\n');
            const auto trimmed = text::trimWhitespaceAndNewlines(rest.substr(0, end));
            if (!trimmed.empty()) {
                out.emplace_back(trimmed);
            }
            rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
        }
        return out;
    }
    if (values.IsSequence()) {
        for (const auto& item : values) {
            if (item.IsScalar()) {
                out.push_back(item.Scalar());
            } else if (auto id = scalarAt(item, "id")) {
                out.push_back(std::move(*id));
                kinds.insert("snippets use espanso choices with labels; the values were kept");
            }
        }
    }
    return out;
}

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// "name" or "name.field" with word characters only: a reference espanso resolves.
std::optional<std::pair<std::string, std::string>> variableReference(std::string_view inside) {
    const auto trimmed = text::trimWhitespaceAndNewlines(inside);
    const auto dot = trimmed.find('.');
    auto isWord = [](std::string_view s) {
        return !s.empty() && std::all_of(s.begin(), s.end(), isWordCharacter);
    };
    if (dot == std::string_view::npos) {
        return isWord(trimmed) ? std::optional(std::pair(std::string(trimmed), std::string()))
                               : std::nullopt;
    }
    const auto name = trimmed.substr(0, dot);
    const auto field = trimmed.substr(dot + 1);
    if (!isWord(name) || !isWord(field)) {
        return std::nullopt;
    }
    return std::pair(std::string(name), std::string(field));
}

// A form field ([[name]] in a layout) as our fill-in macro.
std::string formFieldMacro(const std::string& name, const YAML::Node& fields,
                           std::set<std::string>& kinds) {
    const YAML::Node spec = fields && fields.IsMap() ? fields[name] : YAML::Node();
    const auto defaultValue = scalarAt(spec, "default");
    const auto type = scalarAt(spec, "type");
    if (type && (*type == "choice" || *type == "list")) {
        return macro_writing::select(name, choiceValues(spec["values"], kinds), defaultValue);
    }
    if (boolAt(spec, "multiline")) {
        return macro_writing::textarea(name, defaultValue);
    }
    return macro_writing::input(name, defaultValue);
}

std::string convertLayout(std::string_view layout, const YAML::Node& fields,
                          std::set<std::string>& kinds) {
    std::string out;
    std::size_t i = 0;
    while (i < layout.size()) {
        const auto open = layout.find("[[", i);
        if (open == std::string_view::npos) {
            break;
        }
        const auto close = layout.find("]]", open + 2);
        if (close == std::string_view::npos) {
            break;
        }
        const auto reference = variableReference(layout.substr(open + 2, close - open - 2));
        out.append(layout.substr(i, open - i));
        if (reference && reference->second.empty()) {
            out += formFieldMacro(reference->first, fields, kinds);
        } else {
            out.append(layout.substr(open, close + 2 - open));
        }
        i = close + 2;
    }
    out.append(layout.substr(i));
    return out;
}

class MatchConverter {
  public:
    MatchConverter(std::map<std::string, Variable> variables, std::set<std::string>& kinds,
                   int depth = 0)
        : variables_(std::move(variables)), kinds_(kinds), depth_(depth) {}

    std::string convert(std::string_view body) {
        std::string out;
        std::size_t i = 0;
        while (i < body.size()) {
            const auto open = body.find("{{", i);
            if (open == std::string_view::npos) {
                break;
            }
            const auto close = body.find("}}", open + 2);
            if (close == std::string_view::npos) {
                break;
            }
            out.append(body.substr(i, open - i));
            const auto written = body.substr(open, close + 2 - open);
            const auto reference = variableReference(body.substr(open + 2, close - open - 2));
            out += reference ? resolve(reference->first, reference->second, written)
                             : std::string(written);
            i = close + 2;
        }
        out.append(body.substr(i));
        return replaceCursorHint(out);
    }

  private:
    static std::string replaceCursorHint(const std::string& text) {
        const auto at = text.find("$|$");
        if (at == std::string::npos) {
            return text;
        }
        return text.substr(0, at) + "{{cursor}}" + text.substr(at + 3);
    }

    std::string resolve(const std::string& name, const std::string& field,
                        std::string_view written) {
        const auto it = variables_.find(name);
        if (it == variables_.end()) {
            kinds_.insert(kUndefinedVariable);
            return std::string(written);
        }
        const auto& variable = it->second;
        const auto& params = variable.params;
        const auto& type = variable.type;
        if (type == "clipboard") {
            return "{{clipboard}}";
        }
        if (type == "date") {
            return dateMacro(params);
        }
        if (type == "echo") {
            const auto text = scalarAt(params, "echo").value_or("");
            // An echo may itself name variables; resolve them once, without recursion loops.
            if (depth_ < 4 && text.find("{{") != std::string::npos) {
                MatchConverter inner(variables_, kinds_, depth_ + 1);
                return inner.convert(text);
            }
            return text;
        }
        if (type == "match") {
            if (const auto trigger = scalarAt(params, "trigger")) {
                return "{{snippet:" + *trigger + "}}";
            }
        }
        if (type == "choice") {
            return macro_writing::select(name, choiceValues(params["values"], kinds_));
        }
        if (type == "random") {
            return randomMacro(params, written);
        }
        if (type == "form" && !field.empty()) {
            return formFieldMacro(field, params["fields"], kinds_);
        }
        if (type == "shell") {
            kinds_.insert("snippets use espanso shell variables, kept as text");
        } else if (type == "script") {
            kinds_.insert("snippets use espanso script variables, kept as text");
        } else {
            kinds_.insert("snippets use espanso \u201c" + type + "\u201d variables, kept as text");
        }
        return std::string(written);
    }

    std::string dateMacro(const YAML::Node& params) {
        std::set<std::string> unsupported;
        const auto format = scalarAt(params, "format");
        // espanso writes RFC 2822 when no format is given.
        const std::string pattern =
            format ? strftimeToDatePattern(*format, unsupported) : "EEE, dd MMM yyyy HH:mm:ss Z";
        if (!unsupported.empty()) {
            kinds_.insert("snippets use date codes Wordloom has no pattern for, kept as text");
        }
        std::string offset;
        if (const auto seconds = scalarAt(params, "offset")) {
            std::int64_t value = 0;
            try {
                value = std::stoll(*seconds);
            } catch (const std::exception&) {
            }
            if (auto converted = dateOffsetFromSeconds(value)) {
                offset = *converted;
            } else {
                kinds_.insert(
                    "snippets use a date offset that is no whole number of minutes; "
                    "the date is not shifted");
            }
        }
        if (scalarAt(params, "locale")) {
            kinds_.insert("snippets set a date locale; the system's locale is used");
        }
        return macro_writing::date(offset, pattern);
    }

    std::string randomMacro(const YAML::Node& params, std::string_view written) {
        const auto choices = stringList(params["choices"]);
        std::vector<std::int64_t> numbers;
        for (const auto& choice : choices) {
            try {
                std::size_t used = 0;
                const auto number = std::stoll(choice, &used);
                if (used != choice.size()) {
                    break;
                }
                numbers.push_back(number);
            } catch (const std::exception&) {
                break;
            }
        }
        if (!choices.empty() && numbers.size() == choices.size()) {
            std::sort(numbers.begin(), numbers.end());
            bool consecutive = true;
            for (std::size_t k = 1; k < numbers.size(); ++k) {
                consecutive = consecutive && numbers[k] == numbers[k - 1] + 1;
            }
            if (consecutive) {
                return "{{random:" + std::to_string(numbers.front()) + "-" +
                       std::to_string(numbers.back()) + "}}";
            }
        }
        kinds_.insert("snippets pick a random text, which Wordloom has no macro for, kept as text");
        return std::string(written);
    }

    std::map<std::string, Variable> variables_;
    std::set<std::string>& kinds_;
    int depth_;
};

// YAML's merge key ("<<: *base"), which yaml-cpp leaves as an ordinary key: the match's own
// keys win over merged ones, and earlier merged maps over later ones.
YAML::Node withMergeKeys(const YAML::Node& match) {
    const auto merge = match["<<"];
    if (!merge) {
        return match;
    }
    std::vector<YAML::Node> sources;
    if (merge.IsMap()) {
        sources.push_back(merge);
    } else if (merge.IsSequence()) {
        for (const auto& item : merge) {
            if (item.IsMap()) {
                sources.push_back(item);
            }
        }
    }
    YAML::Node merged(YAML::NodeType::Map);
    for (auto source = sources.rbegin(); source != sources.rend(); ++source) {
        for (const auto& entry : *source) {
            merged[entry.first.Scalar()] = entry.second;
        }
    }
    for (const auto& entry : match) {
        if (entry.first.IsScalar() && entry.first.Scalar() != "<<") {
            merged[entry.first.Scalar()] = entry.second;
        }
    }
    return merged;
}

bool compilesAsRegex(const std::string& pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern), parseError, status));
    return U_SUCCESS(status) && compiled;
}

// Rust's (?P<name>...) is (?<name>...) in the regular expressions Wordloom uses.
std::string regexForWordloom(std::string pattern) {
    std::size_t at = 0;
    while ((at = pattern.find("(?P<", at)) != std::string::npos) {
        pattern.erase(at + 2, 1);
        at += 3;
    }
    return pattern;
}

class EspansoReader {
  public:
    EspansoReader(Timestamp now, fs::path configRoot)
        : now_(now), configRoot_(std::move(configRoot)) {}

    void load(const fs::path& path, std::string groupName,
              std::optional<std::string> onlyIn = std::nullopt, bool followImports = true) {
        std::error_code ec;
        const auto canonical = fs::weakly_canonical(path, ec);
        const auto key = ec ? path : canonical;
        if (auto it = indexByPath_.find(key.string()); it != indexByPath_.end()) {
            if (onlyIn && !files_[it->second].onlyInApplication) {
                files_[it->second].onlyInApplication = onlyIn;
            }
            return;
        }
        if (files_.size() >= kMaxMatchFiles) {
            throw ImportError("The espanso configuration names more than " +
                              std::to_string(kMaxMatchFiles) + " match files.");
        }
        const auto text = readImportFile(path);
        addText(text, path.filename().string(), std::move(groupName), path, std::move(onlyIn));
        indexByPath_.emplace(key.string(), files_.size() - 1);
        if (!followImports) {
            return;
        }
        const auto imports = files_.back().imports;
        for (const auto& imported : imports) {
            const auto resolved = imported.is_absolute() ? imported : path.parent_path() / imported;
            if (!fs::exists(resolved)) {
                document_.notes.note("The imported espanso file \u201c" + imported.string() +
                                     "\u201d does not exist and was skipped.");
                continue;
            }
            load(resolved, groupNameFor(resolved));
        }
    }

    void addText(std::string_view text, const std::string& fileName, std::string groupName,
                 fs::path path = {}, std::optional<std::string> onlyIn = std::nullopt) {
        auto root = parseYaml(text, fileName);
        if (root.IsNull()) {
            root = YAML::Node(YAML::NodeType::Map);
        }
        if (!root.IsMap()) {
            throw ImportError("\u201c" + fileName +
                              "\u201d is not an espanso match file: it is not a YAML mapping.");
        }
        MatchFile file;
        file.path = std::move(path);
        file.groupName = std::move(groupName);
        file.globals = readVariables(root["global_vars"]);
        for (const auto& imported : stringList(root["imports"])) {
            file.imports.emplace_back(imported);
        }
        file.onlyInApplication = std::move(onlyIn);
        file.root = std::move(root);
        files_.push_back(std::move(file));
    }

    // App-specific configs in config/: their filter limits the "_" match files they include.
    void loadApplicationConfigs(const fs::path& configFolder) {
        std::error_code ec;
        if (!fs::is_directory(configFolder, ec)) {
            return;
        }
        std::vector<fs::path> configs;
        for (const auto& entry : fs::directory_iterator(configFolder, ec)) {
            const auto ext = entry.path().extension();
            if (entry.is_regular_file() && (ext == ".yml" || ext == ".yaml") &&
                entry.path().stem() != "default") {
                configs.push_back(entry.path());
            }
        }
        std::sort(configs.begin(), configs.end());
        for (const auto& config : configs) {
            const auto text = readImportFile(config);
            const auto root = parseYaml(text, config.filename().string());
            if (!root.IsMap()) {
                continue;
            }
            auto application = scalarAt(root, "filter_class");
            if (!application) {
                if (scalarAt(root, "filter_exec") || scalarAt(root, "filter_title")) {
                    document_.notes.note(
                        "The espanso config \u201c" + config.filename().string() +
                        "\u201d picks applications by program or window title, which Wordloom "
                        "cannot; the snippets it includes expand everywhere.");
                }
            }
            auto includes = stringList(root["includes"]);
            const auto extra = stringList(root["extra_includes"]);
            includes.insert(includes.end(), extra.begin(), extra.end());
            for (const auto& include : includes) {
                const fs::path resolved =
                    fs::path(include).is_absolute() ? fs::path(include) : configFolder / include;
                if (include.find('*') != std::string::npos || !fs::exists(resolved)) {
                    continue;
                }
                load(resolved, groupNameFor(resolved), application);
            }
        }
    }

    ImportDocument finish() {
        for (std::size_t index = 0; index < files_.size(); ++index) {
            convertFile(index);
        }
        return std::move(document_);
    }

    std::string groupNameFor(const fs::path& file) const {
        if (file.filename() == "package.yml") {
            return file.parent_path().filename().string();
        }
        auto stem = file.stem().string();
        if (!stem.empty() && stem.front() == '_') {
            stem.erase(0, 1);
        }
        return stem;
    }

  private:
    // Globals of the file and of every file it imports, its own first.
    void collectGlobals(std::size_t index, std::map<std::string, Variable>& into,
                        std::unordered_set<std::size_t>& seen) const {
        if (!seen.insert(index).second) {
            return;
        }
        const auto& file = files_[index];
        for (const auto& variable : file.globals) {
            into.emplace(variable.name, variable);
        }
        for (const auto& imported : file.imports) {
            const auto resolved =
                imported.is_absolute() ? imported : file.path.parent_path() / imported;
            std::error_code ec;
            const auto key = fs::weakly_canonical(resolved, ec);
            if (const auto it = indexByPath_.find((ec ? resolved : key).string());
                it != indexByPath_.end()) {
                collectGlobals(it->second, into, seen);
            }
        }
    }

    void convertFile(std::size_t index) {
        const auto& file = files_[index];
        const auto matches = file.root["matches"];
        if (!matches || !matches.IsSequence() || matches.size() == 0) {
            return;
        }
        std::map<std::string, Variable> globals;
        std::unordered_set<std::size_t> seen;
        collectGlobals(index, globals, seen);

        auto group = importedGroup(file.groupName, now_);
        group.sortOrder = static_cast<std::int64_t>(document_.groups.size());
        const auto groupId = group.id;
        document_.groups.push_back(std::move(group));
        const auto fileName = file.path.empty() ? file.groupName : file.path.filename().string();
        std::size_t position = 0;
        for (const auto& match : matches) {
            convertMatch(match, globals, groupId, fileName, file, position++);
        }
    }

    void convertMatch(const YAML::Node& written, const std::map<std::string, Variable>& globals,
                      const Uuid& groupId, const std::string& fileName, const MatchFile& file,
                      std::size_t position) {
        if (!written.IsMap()) {
            return;
        }
        const auto match = withMergeKeys(written);
        std::set<std::string> kinds;
        std::vector<std::string> triggers;
        bool isRegex = false;
        if (auto trigger = scalarAt(match, "trigger")) {
            triggers.push_back(std::move(*trigger));
        } else if (auto list = stringList(match["triggers"]); !list.empty()) {
            triggers = std::move(list);
        } else if (auto regex = scalarAt(match, "regex")) {
            triggers.push_back(regexForWordloom(std::move(*regex)));
            isRegex = true;
        } else {
            document_.notes.count("matches have no trigger and were skipped");
            return;
        }

        auto variables = globals;
        for (auto& local : readVariables(match["vars"])) {
            // Nodes assign into what they refer to, so a variable is replaced, not assigned.
            variables.erase(local.name);
            variables.emplace(local.name, std::move(local));
        }

        Snippet snippet = importedSnippet(ImportSourceType::espansoYAML, fileName, now_);
        if (auto body = scalarAt(match, "replace")) {
            snippet.content = MatchConverter(variables, kinds).convert(*body);
        } else if (auto markdown = scalarAt(match, "markdown")) {
            snippet.content = MatchConverter(variables, kinds).convert(*markdown);
            snippet.contentType = ContentType::markdown;
        } else if (auto html = scalarAt(match, "html")) {
            snippet.content = MatchConverter(variables, kinds).convert(*html);
            kinds.insert("snippets are espanso HTML matches, imported as their HTML source");
        } else if (auto layout = scalarAt(match, "form")) {
            const auto withFields = convertLayout(*layout, match["form_fields"], kinds);
            snippet.content = MatchConverter(variables, kinds).convert(withFields);
        } else if (auto image = scalarAt(match, "image_path")) {
            if (!readImage(*image, snippet)) {
                document_.notes.count(
                    "espanso image matches point at a picture that cannot be "
                    "read and were skipped");
                return;
            }
        } else {
            document_.notes.count("matches have nothing to insert and were skipped");
            return;
        }

        snippet.groupId = groupId;
        snippet.label = scalarAt(match, "label").value_or("");
        snippet.tags = stringList(match["search_terms"]);
        snippet.triggerMode = boolAt(match, "word") || boolAt(match, "right_word")
                                  ? TriggerMode::delimiter
                                  : TriggerMode::immediate;
        snippet.caseSensitivity = boolAt(match, "propagate_case") ? CaseSensitivity::autoDetect
                                                                  : CaseSensitivity::sensitive;
        if (scalarAt(match, "uppercase_style").value_or("uppercase") != "uppercase") {
            kinds.insert(
                "snippets ask for an espanso uppercase style; Wordloom's smart case "
                "is used");
        }
        if (boolAt(match, "left_word") && !boolAt(match, "word")) {
            kinds.insert(
                "snippets need a word boundary only before the trigger; they expand "
                "at once");
        }
        if (file.onlyInApplication) {
            snippet.appFilterMode = AppFilterMode::whitelist;
            snippet.filteredApps.push_back({*file.onlyInApplication, *file.onlyInApplication, {}});
        }
        if (isRegex) {
            snippet.matchType = AbbreviationMatchType::regex;
            if (!compilesAsRegex(triggers.front())) {
                document_.notes.note("The regex trigger \u201c" + triggers.front() +
                                     "\u201d is not a pattern Wordloom can use and was skipped.");
                return;
            }
            if (triggers.front().find("(?<") != std::string::npos) {
                // The captures are what the undefined names in the body refer to.
                kinds.erase(kUndefinedVariable);
                kinds.insert("snippets use regex capture groups, which Wordloom cannot insert");
            }
        }
        for (const auto& kind : kinds) {
            document_.notes.count(kind);
        }
        for (std::size_t k = 0; k < triggers.size(); ++k) {
            requireRoomForAnotherSnippet(document_);
            Snippet copy = snippet;
            if (k > 0) {
                copy.id = Uuid::random();
            }
            copy.abbreviation = triggers[k];
            copy.originalId = file.groupName + ":" + std::to_string(position) +
                              (triggers.size() > 1 ? ":" + std::to_string(k) : "");
            document_.snippets.push_back(std::move(copy));
        }
    }

    bool readImage(const std::string& written, Snippet& snippet) const {
        std::string path = written;
        for (const std::string token : {"$CONFIG", "%CONFIG%"}) {
            if (const auto at = path.find(token); at != std::string::npos) {
                path.replace(at, token.size(), configRoot_.string());
            }
        }
        try {
            const auto bytes = readFile(path, fileSizeLimit::snippetPart);
            snippet.imageData = Bytes(bytes.begin(), bytes.end());
            snippet.contentType = ContentType::image;
            return true;
        } catch (const FileError&) {
            return false;
        }
    }

    Timestamp now_;
    fs::path configRoot_;
    std::vector<MatchFile> files_;
    std::map<std::string, std::size_t> indexByPath_;
    ImportDocument document_{ImportFormat::espanso, {}, {}, {}};
};

bool isMatchFileName(const fs::path& path) {
    const auto ext = path.extension();
    const auto name = path.filename().string();
    return (ext == ".yml" || ext == ".yaml") && !name.empty() && name.front() != '_';
}

}  // namespace

ImportDocument EspansoImporter::importText(std::string_view yaml, const std::string& fileName,
                                           Timestamp now) {
    EspansoReader reader(now, {});
    auto stem = fs::path(fileName).stem().string();
    reader.addText(yaml, fileName, stem.empty() ? "espanso" : stem, fs::path(fileName));
    return reader.finish();
}

ImportDocument EspansoImporter::importPath(const fs::path& path, Timestamp now) {
    std::error_code ec;
    if (!fs::is_directory(path, ec)) {
        EspansoReader reader(now, path.parent_path());
        reader.load(path, reader.groupNameFor(path));
        return reader.finish();
    }
    // The configuration folder (with match/ and config/), or a folder of match files.
    const bool isConfigRoot = fs::is_directory(path / "match", ec);
    const auto matchFolder = isConfigRoot ? path / "match" : path;
    EspansoReader reader(now, path);
    std::vector<fs::path> files;
    for (auto it = fs::recursive_directory_iterator(
             matchFolder, fs::directory_options::skip_permission_denied, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_regular_file() && isMatchFileName(it->path())) {
            files.push_back(it->path());
            if (files.size() > kMaxMatchFiles) {
                throw ImportError("The folder holds more than " + std::to_string(kMaxMatchFiles) +
                                  " match files.");
            }
        }
    }
    if (ec) {
        throw ImportError("Couldn't read the folder \u201c" + matchFolder.string() +
                          "\u201d: " + ec.message());
    }
    // base.yml first, as espanso users know it; the rest by path.
    std::sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) {
        const bool aBase = a.filename() == "base.yml";
        const bool bBase = b.filename() == "base.yml";
        return aBase != bBase ? aBase : a < b;
    });
    if (files.empty() && !isConfigRoot) {
        throw ImportError("\u201c" + path.string() +
                          "\u201d holds no espanso match files (*.yml).");
    }
    for (const auto& file : files) {
        reader.load(file, reader.groupNameFor(file));
    }
    if (isConfigRoot) {
        reader.loadApplicationConfigs(path / "config");
    }
    return reader.finish();
}

}  // namespace wordloom
