#include "core/transfer/WordloomExport.h"

#include "core/base/Iso8601.h"
#include "core/base/JsonWriter.h"
#include "core/library/LibraryCoding.h"

namespace wordloom {

std::string encodeWordloomExport(const WordloomExport& document) {
    JsonWriter w;
    w.reserve(512 * (document.snippets.size() + 1));
    w.beginObject();
    w.field("exportDate", formatIso8601(document.exportDate));
    w.key("groups");
    w.beginArray();
    for (const auto& group : document.groups) {
        encodeSnippetGroup(w, group);
    }
    w.endArray();
    w.key("snippets");
    w.beginArray();
    for (const auto& snippet : document.snippets) {
        encodeSnippet(w, snippet);
    }
    w.endArray();
    w.field("version", document.version);
    w.endObject();
    auto text = w.take();
    text += '\n';
    return text;
}

}  // namespace wordloom
