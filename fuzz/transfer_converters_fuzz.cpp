// Feeds arbitrary text to every macro and placeholder converter of import and export, and to
// the CSV reader, and checks what must always hold: no crash, our export leaves text without
// "{{" as it is, and an import converter never loses a plain line's text.
#include <set>

#include "FuzzSupport.h"
#include "core/transfer/AlfredImporter.h"
#include "core/transfer/CsvExport.h"
#include "core/transfer/CsvReader.h"
#include "core/transfer/DateFormatConversion.h"
#include "core/transfer/ImportError.h"
#include "core/transfer/RaycastImporter.h"
#include "core/transfer/TEToWordloomMacroConverter.h"
#include "core/transfer/WordloomToTEMacroConverter.h"

using namespace wordloom;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto text = fuzz::asText(data, size);
    std::set<std::string> kinds;

    const auto exported = WordloomToTEMacroConverter::convert(text);
    if (text.find("{{") == std::string_view::npos) {
        FUZZ_CHECK(exported == text);
    }
    (void)WordloomToTEMacroConverter::convertDateFormat(text);

    const auto imported = TEToWordloomMacroConverter::convert(text, kinds);
    if (text.find('%') == std::string_view::npos) {
        FUZZ_CHECK(imported == text);
    }
    (void)TEToWordloomMacroConverter::convert(exported, kinds);

    (void)strftimeToDatePattern(text, kinds);
    (void)RaycastImporter::convertPlaceholders(text, {{"Sig", ";sig"}}, kinds);
    const auto alfred = AlfredImporter::convertPlaceholders(text, ";", "", kinds);
    if (text.find('{') == std::string_view::npos) {
        FUZZ_CHECK(alfred == text);
    }

    const auto cell = escapeCsvField(text);
    try {
        const auto rows = readCsv(cell + "," + cell + "\n", 10);
        // The export quotes cells with a comma, a line feed or a quote; a carriage return alone
        // is left bare, and readers (ours too) take it as the end of a line.
        if (text.find('\r') == std::string_view::npos && !text.empty()) {
            FUZZ_CHECK(rows.size() == 1 && rows[0].size() == 2);
        }
        (void)readCsv(text, 1000);
    } catch (const ImportError&) {
    }
    return 0;
}
