#include "core/transfer/AlfredImporter.h"

#include <zip.h>

#include <filesystem>
#include <memory>
#include <optional>

#include "core/base/FileIO.h"
#include "core/base/JsonReader.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportSupport.h"
#include "core/transfer/PropertyList.h"

namespace wordloom {
namespace {

// An archive whose entries unpack to more than this is refused before it is unpacked.
constexpr std::uint64_t kMaxUnpackedBytes = fileSizeLimit::document;

struct ZipCloser {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};

std::string readEntry(zip_t* archive, zip_uint64_t index, zip_uint64_t size,
                      const std::string& fileName) {
    std::unique_ptr<zip_file_t, int (*)(zip_file_t*)> file(zip_fopen_index(archive, index, 0),
                                                           zip_fclose);
    if (!file) {
        throw ImportError("\u201c" + fileName +
                          "\u201d is a damaged archive: " + zip_strerror(archive));
    }
    std::string bytes(static_cast<std::size_t>(size), '\0');
    zip_int64_t done = 0;
    while (static_cast<zip_uint64_t>(done) < size) {
        const auto n =
            zip_fread(file.get(), bytes.data() + done, size - static_cast<zip_uint64_t>(done));
        if (n < 0) {
            throw ImportError("\u201c" + fileName +
                              "\u201d is a damaged archive: an entry cannot "
                              "be unpacked.");
        }
        if (n == 0) {
            break;
        }
        done += n;
    }
    bytes.resize(static_cast<std::size_t>(done));
    return bytes;
}

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool isDateStyle(std::string_view s) {
    return s == "short" || s == "medium" || s == "long" || s == "full";
}

}  // namespace

std::string AlfredImporter::convertPlaceholders(std::string_view text, std::string_view prefix,
                                                std::string_view suffix,
                                                std::set<std::string>& kinds) {
    std::string out;
    std::size_t i = 0;
    while (i < text.size()) {
        const auto open = text.find('{', i);
        if (open == std::string_view::npos) {
            break;
        }
        out.append(text.substr(i, open - i));
        const auto close = text.find('}', open + 1);
        std::size_t nameEnd = open + 1;
        while (nameEnd < text.size() && isWordCharacter(text[nameEnd])) {
            ++nameEnd;
        }
        if (close == std::string_view::npos || nameEnd == open + 1) {
            out += '{';
            i = open + 1;
            continue;
        }
        const auto name = text.substr(open + 1, nameEnd - open - 1);
        auto rest = text.substr(nameEnd, close - nameEnd);  // " +1d:fmt", ":arg", ".upper"
        // Modifiers (".uppercase", ".trim") chained at the end have no counterpart.
        bool hasModifiers = false;
        if (const auto dot = rest.find('.');
            dot != std::string_view::npos && rest.find(':') == std::string_view::npos) {
            hasModifiers = true;
            rest = rest.substr(0, dot);
        }
        std::string offset;
        if (!rest.empty() && rest.front() == ' ' &&
            (name == "date" || name == "time" || name == "datetime")) {
            // "{date +1d:format}": one signed term; units d w M y h m as our d w m y H M.
            const auto colon = rest.find(':');
            const auto term =
                rest.substr(1, colon == std::string_view::npos ? rest.npos : colon - 1);
            std::string converted;
            if (term.size() >= 3 && (term[0] == '+' || term[0] == '-')) {
                const char unit = term.back();
                const auto digits = term.substr(1, term.size() - 2);
                const bool numeric =
                    digits.find_first_not_of("0123456789") == std::string_view::npos;
                const std::string_view ours = unit == 'd'   ? "d"
                                              : unit == 'w' ? "w"
                                              : unit == 'M' ? "m"
                                              : unit == 'y' ? "y"
                                              : unit == 'h' ? "H"
                                              : unit == 'm' ? "M"
                                                            : "";
                if (numeric && !ours.empty()) {
                    converted = std::string(1, term[0]) + std::string(digits) + std::string(ours);
                }
            }
            if (converted.empty()) {
                kinds.insert(
                    "snippets shift dates in a way Wordloom cannot; the date is not "
                    "shifted");
            }
            offset = converted;
            rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon);
        }
        const std::optional<std::string_view> argument =
            !rest.empty() && rest.front() == ':' ? std::optional(rest.substr(1)) : std::nullopt;
        if (!rest.empty() && !argument) {
            out += '{';
            i = open + 1;
            continue;
        }
        std::optional<std::string> macro;
        if (name == "clipboard") {
            if (argument && *argument != "0") {
                kinds.insert(
                    "snippets insert older clipboard entries; the current clipboard is "
                    "used");
            }
            macro = "{{clipboard}}";
        } else if (name == "cursor" && !argument) {
            macro = "{{cursor}}";
        } else if (name == "date" || name == "time" || name == "datetime") {
            const std::string keyword = !offset.empty()      ? "date"
                                        : name == "datetime" ? "now"
                                                             : std::string(name);
            std::string format = argument ? std::string(*argument) : "";
            if (!offset.empty() && format.empty()) {
                format = name == "time" ? "HH:mm" : name == "datetime" ? "yyyy-MM-dd HH:mm" : "";
            } else if (!offset.empty() && isDateStyle(format)) {
                kinds.insert(
                    "snippets shift a date shown in a named style; Wordloom shows it "
                    "in the style's pattern-free form");
            }
            macro = "{{" + keyword + offset + (format.empty() ? "" : ":" + format) + "}}";
        } else if (name == "random" && argument) {
            if (*argument == "UUID" || *argument == "uuid") {
                macro = "{{uuid}}";
            } else if (const auto dots = argument->find(".."); dots != std::string_view::npos) {
                macro = "{{random:" + std::string(argument->substr(0, dots)) + "-" +
                        std::string(argument->substr(dots + 2)) + "}}";
            } else {
                kinds.insert(
                    "snippets pick a random text, which Wordloom has no macro for, "
                    "kept as text");
            }
        } else if (name == "snippet" && argument) {
            macro = "{{snippet:" + std::string(prefix) + std::string(*argument) +
                    std::string(suffix) + "}}";
        } else if (name == "query" || name == "var") {
            kinds.insert("snippets use Alfred workflow placeholders, kept as text");
        }
        if (macro) {
            if (hasModifiers) {
                kinds.insert(
                    "snippets apply Alfred modifiers (uppercase, trim, ...), which were "
                    "dropped");
            }
            out += *macro;
            i = close + 1;
        } else {
            out.append(text.substr(open, close + 1 - open));
            i = close + 1;
        }
    }
    out.append(text.substr(i));
    return out;
}

ImportDocument AlfredImporter::importBytes(std::string_view bytes, const std::string& fileName,
                                           Timestamp now) {
    zip_error_t error;
    zip_error_init(&error);
    zip_source_t* source = zip_source_buffer_create(bytes.data(), bytes.size(), 0, &error);
    if (!source) {
        zip_error_fini(&error);
        throw ImportError("\u201c" + fileName + "\u201d cannot be opened as an archive.");
    }
    std::unique_ptr<zip_t, ZipCloser> archive(
        zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &error));
    if (!archive) {
        const std::string reason = zip_error_strerror(&error);
        zip_source_free(source);
        zip_error_fini(&error);
        throw ImportError("\u201c" + fileName + "\u201d is a damaged archive: " + reason + ".");
    }
    zip_error_fini(&error);

    const auto count = zip_get_num_entries(archive.get(), 0);
    if (count < 0 || static_cast<std::uint64_t>(count) > kMaxImportedSnippets + 16) {
        throw ImportError("\u201c" + fileName + "\u201d holds more entries than one import takes.");
    }
    struct Entry {
        zip_uint64_t index;
        zip_uint64_t size;
        std::string name;
    };
    std::vector<Entry> snippetEntries;
    std::optional<Entry> info;
    std::uint64_t total = 0;
    for (zip_int64_t index = 0; index < count; ++index) {
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_stat_index(archive.get(), static_cast<zip_uint64_t>(index), 0, &stat) != 0 ||
            !(stat.valid & ZIP_STAT_NAME) || !(stat.valid & ZIP_STAT_SIZE)) {
            continue;
        }
        const std::string name = stat.name;
        const auto base = std::filesystem::path(name).filename().string();
        if (name.starts_with("__MACOSX/") || base.starts_with("._") || name.ends_with("/")) {
            continue;
        }
        if (stat.size > fileSizeLimit::snippetPart) {
            throw ImportError("\u201c" + fileName +
                              "\u201d holds an entry larger than one "
                              "snippet may be (" +
                              name + ").");
        }
        total += stat.size;
        if (total > kMaxUnpackedBytes) {
            throw ImportError("\u201c" + fileName +
                              "\u201d unpacks to more than an import may "
                              "hold.");
        }
        Entry entry{static_cast<zip_uint64_t>(index), stat.size, name};
        if (base == "info.plist") {
            info = entry;
        } else if (base.ends_with(".json")) {
            snippetEntries.push_back(std::move(entry));
        }
    }

    if (snippetEntries.empty()) {
        throw ImportError("\u201c" + fileName + "\u201d holds no Alfred snippets.");
    }
    std::string prefix;
    std::string suffix;
    if (info) {
        const auto text = readEntry(archive.get(), info->index, info->size, fileName);
        PropertyList list(text, "info.plist");
        prefix = list.root()["snippetkeywordprefix"].string().value_or("");
        suffix = list.root()["snippetkeywordsuffix"].string().value_or("");
    }

    ImportDocument document;
    document.format = ImportFormat::alfred;
    auto group = importedGroup(std::filesystem::path(fileName).stem().string(), now);
    const auto groupId = group.id;
    document.groups.push_back(std::move(group));
    for (const auto& entry : snippetEntries) {
        const auto text = readEntry(archive.get(), entry.index, entry.size, fileName);
        std::optional<JsonDocument> json;
        try {
            json.emplace(text);
        } catch (const JsonError&) {
            document.notes.count("archive entries are not valid JSON and were skipped");
            continue;
        }
        const auto root = json::asObject(json->root());
        const auto inner = root ? json::member(*root, "alfredsnippet") : std::nullopt;
        const auto fields = inner ? json::asObject(*inner) : std::nullopt;
        if (!fields) {
            document.notes.count("archive entries are not Alfred snippets and were skipped");
            continue;
        }
        auto string = [&](const char* key) -> std::optional<std::string> {
            const auto value = json::member(*fields, key);
            const auto found = value ? json::asString(*value) : std::nullopt;
            return found ? std::optional(std::string(*found)) : std::nullopt;
        };
        std::set<std::string> kinds;
        auto snippet = importedSnippet(ImportSourceType::alfredSnippets, fileName, now);
        auto keyword = string("keyword");
        if (!keyword) {
            if (const auto value = json::member(*fields, "keyword")) {
                if (const auto array = json::asArray(*value)) {
                    for (auto item : *array) {
                        keyword = std::string(json::asString(item).value_or(""));
                        break;
                    }
                    kinds.insert("snippets have several keywords; the first was kept");
                }
            }
        }
        // An empty keyword stays empty (the plan names the snippet) rather than becoming the
        // bare prefix.
        snippet.abbreviation = keyword && !keyword->empty() ? prefix + *keyword + suffix : "";
        snippet.label = string("name").value_or("");
        snippet.content =
            convertPlaceholders(string("snippet").value_or(""), prefix, suffix, kinds);
        if (auto uid = string("uid")) {
            snippet.originalId = *uid;
            if (const auto parsed = Uuid::parse(*uid)) {
                snippet.id = *parsed;
            }
        }
        if (const auto manual = json::member(*fields, "dontautoexpand")) {
            if (json::asBool(*manual).value_or(false)) {
                snippet.triggerMode = TriggerMode::manual;
            }
        }
        snippet.groupId = groupId;
        for (const auto& kind : kinds) {
            document.notes.count(kind);
        }
        requireRoomForAnotherSnippet(document);
        document.snippets.push_back(std::move(snippet));
    }
    return document;
}

}  // namespace wordloom
