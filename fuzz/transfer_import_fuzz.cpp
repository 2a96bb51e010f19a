// Feeds arbitrary files to format detection, then to the importer of the detected format (and
// to each importer that reads text, whatever the detection said), then plans the import into a
// small library. Bad input must end in ImportError, never in a crash, a hang or a plan that
// breaks the library's rules.
#include <unordered_set>

#include "FuzzSupport.h"
#include "core/transfer/ATextImporter.h"
#include "core/transfer/AlfredImporter.h"
#include "core/transfer/EspansoImporter.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/ImportFormatDetection.h"
#include "core/transfer/ImportPlan.h"
#include "core/transfer/RaycastImporter.h"
#include "core/transfer/TextExpanderImporter.h"
#include "core/transfer/TypeIt4MeImporter.h"
#include "core/transfer/WordloomImporter.h"

using namespace wordloom;

namespace {

ImportDocument read(ImportFormat format, std::string_view bytes, Timestamp now) {
    switch (format) {
        case ImportFormat::wordloom:
            return WordloomImporter::importText(bytes, now);
        case ImportFormat::espanso:
            return EspansoImporter::importText(bytes, "fuzz.yml", now);
        case ImportFormat::textExpander:
            return TextExpanderImporter::importBytes(bytes, "fuzz.textexpander", now);
        case ImportFormat::alfred:
            return AlfredImporter::importBytes(bytes, "fuzz.alfredsnippets", now);
        case ImportFormat::raycast:
            return RaycastImporter::importText(bytes, "fuzz.json", now);
        case ImportFormat::aText:
            return ATextImporter::importBytes(bytes, "fuzz.csv", now);
        case ImportFormat::typeIt4Me:
            return TypeIt4MeImporter::importBytes(bytes, "fuzz.plist", now);
    }
    return {};
}

void planAndCheck(ImportDocument document, Timestamp now) {
    Snippet existing;
    existing.id = Uuid::random();
    existing.abbreviation = ";sig";
    SnippetGroup group;
    group.id = Uuid::random();
    group.name = "base";
    for (const auto policy :
         {ConflictPolicy::skip, ConflictPolicy::rename, ConflictPolicy::replace}) {
        const auto plan = planImport({existing}, {group}, document, {policy, std::nullopt}, now);
        std::unordered_set<std::string> abbreviations{";sig"};
        std::unordered_set<Uuid> ids{existing.id};
        for (const auto& snippet : plan.added) {
            FUZZ_CHECK(isValidAbbreviation(snippet.abbreviation));
            FUZZ_CHECK(abbreviations.insert(snippet.abbreviation).second);
            FUZZ_CHECK(ids.insert(snippet.id).second);
        }
        for (const auto& replacement : plan.replaced) {
            FUZZ_CHECK(replacement.after.id == existing.id);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto bytes = fuzz::asText(data, size);
    const auto now = std::chrono::system_clock::now();
    const auto detected = detectImportFormat(bytes);
    for (const auto format : allImportFormats) {
        const bool readsText = format == ImportFormat::espanso || format == ImportFormat::raycast ||
                               format == ImportFormat::aText;
        if (format != detected && !readsText) {
            continue;
        }
        try {
            planAndCheck(read(format, bytes, now), now);
        } catch (const ImportError&) {
        }
    }
    return 0;
}
