// Feeds arbitrary content to the macro parser and checks what every caller relies on: macros in
// order, never overlapping, each one's text the braces-included slice of the content, and the
// inner text parsing to the same macro again.
#include "FuzzSupport.h"
#include "core/base/Text.h"
#include "core/macros/MacroParser.h"

using namespace wordloom;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::string_view content = fuzz::asText(data, size);
    auto macros = MacroParser::parse(content);
    const std::size_t characters = text::characterCount(content);
    std::size_t previousEnd = 0;
    for (const ParsedMacro& parsed : macros) {
        FUZZ_CHECK(parsed.range.start >= previousEnd);
        FUZZ_CHECK(parsed.range.end <= characters);
        FUZZ_CHECK(parsed.range.length() >= 4);
        FUZZ_CHECK(parsed.byteRange.end <= content.size());
        std::string_view written =
            content.substr(parsed.byteRange.start, parsed.byteRange.length());
        FUZZ_CHECK(written == parsed.originalText);
        FUZZ_CHECK(text::characterCount(written) == parsed.range.length());
        FUZZ_CHECK(written.substr(0, 2) == "{{" && written.substr(written.size() - 2) == "}}");
        auto again = MacroParser::parseInnerText(written.substr(2, written.size() - 4));
        FUZZ_CHECK(again && *again == parsed.type);
        previousEnd = parsed.range.end;
    }
    return 0;
}
