// Splits the input into an abbreviation and typed text at the first NUL, parses the invocation
// both ways, and binds its arguments to the fill-in fields of the typed text seen as content.
#include "FuzzSupport.h"
#include "core/base/Text.h"
#include "core/macros/InlineParameterParser.h"

using namespace wordloom;

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::string_view input = fuzz::asText(data, size);
    std::size_t split = input.find('\0');
    std::string_view abbreviation =
        split == std::string_view::npos ? input.substr(0, 3) : input.substr(0, split);
    std::string_view typed = split == std::string_view::npos ? input : input.substr(split + 1);

    for (bool caseSensitive : {true, false}) {
        auto invocation = InlineParameterParser::parse(typed, abbreviation, caseSensitive);
        if (!invocation) {
            continue;
        }
        FUZZ_CHECK(!invocation->arguments.empty());
        FUZZ_CHECK(text::characterCount(invocation->typedAbbreviation) ==
                   text::characterCount(abbreviation));
        FUZZ_CHECK(typed.substr(0, invocation->typedAbbreviation.size()) ==
                   invocation->typedAbbreviation);
        if (caseSensitive) {
            FUZZ_CHECK(invocation->typedAbbreviation == abbreviation);
        }
        auto fields = InlineParameterParser::fillableFields(typed);
        auto values = InlineParameterParser::bind(fields, invocation->arguments);
        FUZZ_CHECK(values.size() <= invocation->arguments.size());
        for (const auto& [key, value] : values) {
            bool known = false;
            for (const FillInField& field : fields) {
                known = known || field.valueKey == key;
            }
            FUZZ_CHECK(known);
        }
    }
    return 0;
}
