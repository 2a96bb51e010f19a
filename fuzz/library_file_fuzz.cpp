// Feeds arbitrary bytes to the readers of the library files and of backups, and checks what the
// stores rely on: nothing but JsonError or DecodingError escapes, every snippet that decodes has
// a valid abbreviation, and what was decoded encodes and decodes again to the same records.
#include "FuzzSupport.h"
#include "core/base/JsonReader.h"
#include "core/library/ExportData.h"
#include "core/library/LibraryCoding.h"

using namespace wordloom;

namespace {

const Timestamp kLoadTime{std::chrono::seconds(1'800'000'000)};

void checkSnippetList(std::string_view text) {
    std::vector<Snippet> decoded;
    try {
        JsonDocument document(text);
        const auto array = json::asArray(document.root());
        if (!array) {
            return;
        }
        for (auto element : *array) {
            try {
                decoded.push_back(decodeSnippet(element, kLoadTime));
            } catch (const DecodingError&) {
            }
        }
    } catch (const JsonError&) {
        return;
    }
    for (const auto& snippet : decoded) {
        FUZZ_CHECK(isValidAbbreviation(snippet.abbreviation));
        FUZZ_CHECK(!snippet.hotkey || (snippet.hotkey->modifiers & modifier::shortcutMask) != 0);
    }
    JsonDocument again(encodeSnippetList(decoded));
    std::vector<Snippet> reread;
    const auto rereadArray = json::asArray(again.root());
    for (auto element : *rereadArray) {
        reread.push_back(decodeSnippet(element, kLoadTime));
    }
    // Dates are written in whole seconds, so compare what survives a second round trip.
    FUZZ_CHECK(encodeSnippetList(reread) == encodeSnippetList(decoded));
}

void checkBackup(std::string_view text) {
    ExportData data;
    try {
        data = decodeExportData(text, kLoadTime);
    } catch (const JsonError&) {
        return;
    }
    const auto encoded = encodeExportData(data);
    FUZZ_CHECK(encodeExportData(decodeExportData(encoded, kLoadTime)) == encoded);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto text = fuzz::asText(data, size);
    checkSnippetList(text);
    checkBackup(text);
    return 0;
}
