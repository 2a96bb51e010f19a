// Feeds arbitrary bytes to what sync reads from outside: record batches in a shared folder (the
// record JSON and the snippet and group records decoded from it), and the outbox journal.
// Checks that nothing but the documented errors escapes, that what decodes keeps the library's
// rules (valid abbreviations, hotkeys with a modifier), and that a decoded record or outbox
// encodes and decodes again to the same value.
#include "FuzzSupport.h"
#include "core/base/JsonReader.h"
#include "core/sync/SyncOutboxState.h"
#include "core/sync/SyncRecordCoding.h"

using namespace wordloom;

namespace {

const Timestamp kNow{std::chrono::seconds(1'800'000'000)};

void checkRecord(const SyncRecord& record) {
    JsonWriter w(false);
    encodeSyncRecord(w, record);
    JsonDocument again(w.take());
    FUZZ_CHECK(decodeSyncRecord(again.root()) == record);
    try {
        const auto snippet = decodeSnippetRecord(record, kNow);
        FUZZ_CHECK(isValidAbbreviation(snippet.abbreviation));
        FUZZ_CHECK(!snippet.hotkey || (snippet.hotkey->modifiers & modifier::shortcutMask) != 0);
        auto reencoded = encodeSnippetRecord(
            snippet, [](const Snippet&) -> std::optional<Bytes> { return std::nullopt; });
        FUZZ_CHECK(decodeSnippetRecord(reencoded, kNow) == snippet);
    } catch (const SyncRecordError&) {
    } catch (const SyncImageAssetError&) {
    }
    try {
        const auto group = decodeGroupRecord(record, kNow);
        FUZZ_CHECK(decodeGroupRecord(encodeGroupRecord(group), kNow) == group);
    } catch (const SyncRecordError&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto text = fuzz::asText(data, size);
    try {
        JsonDocument document(text);
        checkRecord(decodeSyncRecord(document.root()));
    } catch (const JsonError&) {
    }
    try {
        const auto state = decodeSyncOutboxState(text);
        FUZZ_CHECK(decodeSyncOutboxState(encodeSyncOutboxState(state)) == state);
        for (const auto* entries : {&state.changes, &state.deletions}) {
            for (const auto& entry : *entries) {
                FUZZ_CHECK(entry.generation < state.nextGeneration);
            }
        }
    } catch (const JsonError&) {
    }
    return 0;
}
