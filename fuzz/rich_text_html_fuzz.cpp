// Converts the input (as RTF, and as RTF with the input as its body) to HTML and checks that the
// result is valid UTF-8 made only of the markup the converter writes: whatever the document
// holds, its text can never become markup in the application that pastes it.
#include <unicode/utf8.h>

#include <array>
#include <string>

#include "FuzzSupport.h"
#include "platform/x11/RichTextHtml.h"

using namespace wordloom;

namespace {

bool isValidUtf8(const std::string& text) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t index = 0; index < length;) {
        UChar32 c = 0;
        U8_NEXT(bytes, index, length, c);
        if (c < 0) {
            return false;
        }
    }
    return true;
}

bool onlyOurMarkup(const std::string& html) {
    static constexpr std::array<std::string_view, 21> tags = {
        "<!DOCTYPE html>",
        "<html>",
        "</html>",
        "<head>",
        "</head>",
        "<meta charset=\"utf-8\">",
        "<body>",
        "</body>",
        "<p style=\"margin:0;white-space:pre-wrap\">",
        "</p>",
        "<br>",
        "<b>",
        "</b>",
        "<i>",
        "</i>",
        "<u>",
        "</u>",
        "<s>",
        "</s>",
        "</a>",
        "<a href=\""};
    for (std::size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
        const std::string_view rest = std::string_view(html).substr(at);
        bool known = false;
        for (const auto tag : tags) {
            if (rest.substr(0, tag.size()) == tag) {
                known = true;
                if (tag == "<a href=\"") {
                    // The address ends at the first quote, and the tag right after it.
                    const auto close = rest.find('"', tag.size());
                    if (close == std::string_view::npos || rest.substr(close, 2) != "\">" ||
                        rest.substr(tag.size(), close - tag.size()).find_first_of("<>") !=
                            std::string_view::npos) {
                        return false;
                    }
                }
                break;
            }
        }
        if (!known) {
            return false;
        }
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input(fuzz::asText(data, size));
    for (const std::string& document : {input, "{\\rtf1\\ansi\\ansicpg1252 " + input + "}"}) {
        const std::string html = htmlFromRichText(document);
        FUZZ_CHECK(isValidUtf8(html));
        FUZZ_CHECK(onlyOurMarkup(html));
        FUZZ_CHECK(html.rfind("</body></html>") == html.size() - 14);
    }
    return 0;
}
