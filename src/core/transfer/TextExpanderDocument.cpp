#include "core/transfer/TextExpanderDocument.h"

#include <unordered_map>
#include <unordered_set>

#include "core/base/Iso8601.h"
#include "core/transfer/WordloomToTEMacroConverter.h"

namespace wordloom {
namespace {

// XML 1.0 cannot hold most control characters at all, so they are dropped; a carriage return
// is written as a reference because a parser would turn a literal one into a line feed.
void appendXmlEscaped(std::string& out, std::string_view text) {
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t') {
                    break;
                }
                out += c;
        }
    }
}

class PlistWriter {
  public:
    void key(std::string_view name) {
        indent();
        out_ += "<key>";
        appendXmlEscaped(out_, name);
        out_ += "</key>\n";
    }
    void string(std::string_view text) {
        indent();
        out_ += "<string>";
        appendXmlEscaped(out_, text);
        out_ += "</string>\n";
    }
    void integer(std::int64_t number) {
        indent();
        out_ += "<integer>" + std::to_string(number) + "</integer>\n";
    }
    void date(Timestamp time) {
        indent();
        out_ += "<date>" + formatIso8601(time) + "</date>\n";
    }
    void open(std::string_view tag) {
        indent();
        out_ += "<" + std::string(tag) + ">\n";
        ++depth_;
    }
    void close(std::string_view tag) {
        --depth_;
        indent();
        out_ += "</" + std::string(tag) + ">\n";
    }
    std::string& text() { return out_; }

  private:
    void indent() { out_.append(static_cast<std::size_t>(depth_), '\t'); }
    std::string out_;
    int depth_ = 2;
};

int abbreviationMode(CaseSensitivity sensitivity) {
    switch (sensitivity) {
        case CaseSensitivity::sensitive:
            return 0;
        case CaseSensitivity::insensitive:
            return 1;
        case CaseSensitivity::autoDetect:
            return 2;
    }
    return 0;
}

// Groups whose chain of parents comes back to themselves.
std::unordered_set<Uuid> groupsOnCycles(const std::vector<SnippetGroup>& groups) {
    std::unordered_map<Uuid, const SnippetGroup*> byId;
    for (const auto& group : groups) {
        byId.emplace(group.id, &group);
    }
    std::unordered_set<Uuid> cyclic;
    for (const auto& group : groups) {
        std::unordered_set<Uuid> seen{group.id};
        auto parent = group.parentId;
        while (parent) {
            if (*parent == group.id) {
                cyclic.insert(group.id);
                break;
            }
            const auto it = byId.find(*parent);
            if (it == byId.end() || !seen.insert(*parent).second) {
                break;
            }
            parent = it->second->parentId;
        }
    }
    return cyclic;
}

}  // namespace

TextExpanderExportResult renderTextExpanderExport(const std::vector<Snippet>& snippets,
                                                  const std::vector<SnippetGroup>& groups) {
    TextExpanderExportResult result;
    std::unordered_set<Uuid> groupIds;
    for (const auto& group : groups) {
        groupIds.insert(group.id);
    }
    const auto cyclic = groupsOnCycles(groups);

    std::size_t scripts = 0;
    std::size_t richTexts = 0;
    std::size_t images = 0;
    std::size_t orphans = 0;
    const Uuid orphanGroupId = Uuid::random();
    std::unordered_map<Uuid, std::vector<const Snippet*>> members;

    PlistWriter snippetsXml;
    for (const auto& snippet : snippets) {
        if (snippet.contentType == ContentType::image) {
            ++images;
            continue;
        }
        std::string label = snippet.label;
        std::string content;
        if (snippet.contentType == ContentType::javaScript) {
            ++scripts;
            label += kJavaScriptPreservedMark;
            content = kJavaScriptSourceHeader + snippet.content;
        } else {
            if (snippet.contentType == ContentType::richText) {
                ++richTexts;
                label =
                    label.empty() ? kRichTextFlattenedMark : label + " " + kRichTextFlattenedMark;
            }
            content = WordloomToTEMacroConverter::convert(snippet.content);
        }
        if (snippet.groupId) {
            if (groupIds.contains(*snippet.groupId)) {
                members[*snippet.groupId].push_back(&snippet);
            } else {
                ++orphans;
                members[orphanGroupId].push_back(&snippet);
            }
        }
        snippetsXml.open("dict");
        snippetsXml.key("abbreviation");
        snippetsXml.string(snippet.abbreviation);
        snippetsXml.key("abbreviationMode");
        snippetsXml.integer(abbreviationMode(snippet.caseSensitivity));
        snippetsXml.key("creationDate");
        snippetsXml.date(snippet.createdAt);
        snippetsXml.key("flags");
        snippetsXml.integer(0);
        snippetsXml.key("label");
        snippetsXml.string(label);
        snippetsXml.key("modificationDate");
        snippetsXml.date(snippet.modifiedAt);
        snippetsXml.key("plainText");
        snippetsXml.string(content);
        snippetsXml.key("snippetType");
        snippetsXml.integer(0);
        snippetsXml.key("useCount");
        snippetsXml.integer(snippet.useCount);
        snippetsXml.key("uuidString");
        snippetsXml.string(snippet.id.toString());
        snippetsXml.close("dict");
    }

    PlistWriter groupsXml;
    auto writeGroup = [&](const Uuid& id, std::string_view name,
                          const std::optional<Uuid>& parent) {
        groupsXml.open("dict");
        groupsXml.key("name");
        groupsXml.string(name);
        if (parent) {
            groupsXml.key("parentUuidString");
            groupsXml.string(parent->toString());
        }
        groupsXml.key("snippetUUIDs");
        groupsXml.open("array");
        if (const auto it = members.find(id); it != members.end()) {
            for (const auto* member : it->second) {
                groupsXml.string(member->id.toString());
            }
        }
        groupsXml.close("array");
        groupsXml.key("uuidString");
        groupsXml.string(id.toString());
        groupsXml.close("dict");
    };
    for (const auto& group : groups) {
        std::optional<Uuid> parent = group.parentId;
        if (cyclic.contains(group.id)) {
            parent.reset();
            result.warnings.push_back(
                "Group '" + group.name +
                "' had a cyclic hierarchy and was exported at the top level.");
        } else if (parent && !groupIds.contains(*parent)) {
            parent.reset();
        }
        writeGroup(group.id, group.name, parent);
    }
    if (orphans > 0) {
        writeGroup(orphanGroupId, kOrphanedSnippetsGroupName, std::nullopt);
    }

    auto& text = result.text;
    text.reserve(snippetsXml.text().size() + groupsXml.text().size() + 512);
    text +=
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
        "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n<dict>\n\t<key>groupsTE2</key>\n";
    text += groupsXml.text().empty() ? "\t<array/>\n"
                                     : "\t<array>\n" + groupsXml.text() + "\t</array>\n";
    text += "\t<key>snippetsTE2</key>\n";
    text += snippetsXml.text().empty() ? "\t<array/>\n"
                                       : "\t<array>\n" + snippetsXml.text() + "\t</array>\n";
    text += "</dict>\n</plist>\n";

    if (scripts > 0) {
        result.warnings.push_back(std::to_string(scripts) +
                                  " JavaScript snippets exported as source comments \u2014 "
                                  "TextExpander cannot execute Wordloom JS.");
    }
    if (richTexts > 0) {
        result.warnings.push_back(std::to_string(richTexts) +
                                  " rich-text snippets exported as plain text \u2014 formatting "
                                  "was dropped.");
    }
    if (images > 0) {
        result.warnings.push_back(std::to_string(images) +
                                  " image snippets skipped \u2014 TextExpander format does not "
                                  "support image content.");
    }
    if (orphans > 0) {
        result.warnings.push_back(std::to_string(orphans) +
                                  " snippets referenced missing groups and were exported under "
                                  "'Imported from Wordloom'.");
    }
    return result;
}

}  // namespace wordloom
