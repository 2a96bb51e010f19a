// Feeds arbitrary links to the URL scheme handler over a small library, and checks what a link
// must never do: act when it is rejected, expand when expansion is off, expand a snippet that
// runs code or reads the clipboard, or reject without saying why.
#include <cstring>

#include "FuzzSupport.h"
#include "core/triggers/URLSchemeHandler.h"

using namespace wordloom;

namespace {

std::vector<Snippet> library() {
    std::vector<Snippet> snippets;
    const auto add = [&](const char* abbreviation, const char* content) {
        Snippet s;
        s.id = Uuid::random();
        s.abbreviation = abbreviation;
        s.content = content;
        snippets.push_back(s);
    };
    add(";sig", "Best {{date}}");
    add(";clip", "{{clipboard}}");
    add(";nest", "{{snippet:;clip}}");
    add(";loop", "{{snippet:;loop}}");
    add(";js", "{{js:return 1}}");
    add(";form", "{{input:Name}} {{select:a,b}}");
    return snippets;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const auto snippets = library();
    const auto text = fuzz::asText(data, size);
    const bool allowed = size > 0 && (data[0] & 1);
    // The desktop hands expansion to its pipeline; a dry run evaluates here.
    const bool pipeline = size > 0 && (data[0] & 2);
    int acted = 0;
    URLSchemeHandler::Actions actions;
    actions.isURLExpansionAllowed = [&] { return allowed; };
    actions.findActive = [](std::string_view abbreviation) {
        std::vector<const Snippet*> found;
        for (const auto& s : snippets) {
            if (s.abbreviation == abbreviation) {
                found.push_back(&s);
            }
        }
        return found;
    };
    actions.findById = [](const Uuid& id) -> const Snippet* {
        for (const auto& s : snippets) {
            if (s.id == id) {
                return &s;
            }
        }
        return nullptr;
    };
    actions.isEnabled = [](const Snippet&) { return true; };
    actions.evaluate = [](const Snippet& s, const std::vector<std::string>&) {
        FUZZ_CHECK(s.abbreviation != ";clip" && s.abbreviation != ";nest" &&
                   s.abbreviation != ";js");
        return s.content;
    };
    actions.insertText = [&](const std::string&) { ++acted; };
    actions.copyText = [&](const std::string&) { ++acted; };
    actions.presentQuickCreate = [&](const QuickCreatePrefill&) -> std::optional<std::string> {
        ++acted;
        return std::nullopt;
    };
    actions.presentQuickSearch = [&](const std::string&) -> std::optional<std::string> {
        ++acted;
        return std::nullopt;
    };
    actions.presentClipboardHistory = [&]() -> std::optional<std::string> {
        ++acted;
        return std::nullopt;
    };
    actions.selectSnippet = [&](const Uuid&) -> std::optional<std::string> {
        ++acted;
        return std::nullopt;
    };
    if (pipeline) {
        actions.expandSnippet = [&](const Snippet& s, const std::vector<std::string>&,
                                    bool) -> std::optional<std::string> {
            FUZZ_CHECK(s.abbreviation != ";clip" && s.abbreviation != ";nest" &&
                       s.abbreviation != ";js");
            ++acted;
            return std::nullopt;
        };
    }
    const URLSchemeHandler handler(actions);
    const auto outcome = handler.handle(text.substr(size > 0 ? 1 : 0));
    if (outcome.kind == RouteOutcome::Kind::rejected) {
        FUZZ_CHECK(!outcome.message.empty());
        FUZZ_CHECK(acted == 0);
    } else {
        FUZZ_CHECK(acted == 1);
    }
    if (outcome.kind == RouteOutcome::Kind::expanded) {
        FUZZ_CHECK(allowed);
    }
    return 0;
}
