#include "app/desktop/DesktopLinks.h"

#include <stdexcept>

#include "app/desktop/DesktopShell.h"
#include "core/expansion/ExpansionEngine.h"
#include "core/library/SnippetDraft.h"
#include "core/triggers/LibraryLinkLookup.h"
#include "platform/x11/AtspiAccessibilityService.h"

namespace wordloom {

DesktopLinks::DesktopLinks(SnippetStore& snippets, SettingsStore& settings, ExpansionEngine& engine,
                           DesktopShell& shell, AtspiAccessibilityService& accessibility)
    : snippets_(snippets),
      settings_(settings),
      engine_(engine),
      shell_(shell),
      accessibility_(accessibility),
      handler_(actions()) {}

RouteOutcome DesktopLinks::open(const std::string& url) {
    auto outcome = handler_.handle(url);
    if (outcome.kind == RouteOutcome::Kind::rejected) {
        shell_.tellUser("A wordloom:// link was refused: " + outcome.message);
    } else {
        logger_.info("Opened a link: " + std::string(routeOutcomeName(outcome.kind)));
    }
    return outcome;
}

URLSchemeHandler::Actions DesktopLinks::actions() {
    URLSchemeHandler::Actions actions;
    readLibraryForLinks(actions, snippets_, settings_);
    // The link came from the window that has focus (a browser, a note, a launcher): the
    // expansion goes where its caret is, through the pipeline a typed abbreviation takes.
    actions.expandSnippet = [this](const Snippet& snippet,
                                   const std::vector<std::string>& arguments,
                                   bool copy) -> std::optional<std::string> {
        if (copy) {
            engine_.copyExpansion(snippet, arguments);
            return std::nullopt;
        }
        if (!engine_.isRunning()) {
            return shell_.isPaused()
                       ? "Expansion is paused"
                       : "Wordloom is waiting for accessibility: " + accessibility_.waitingReason();
        }
        engine_.expandOnRequest(snippet, arguments);
        return std::nullopt;
    };
    actions.presentQuickCreate =
        [this](const QuickCreatePrefill& prefill) -> std::optional<std::string> {
        if (prefill.type) {
            try {
                contentTypeNamed(*prefill.type);
            } catch (const std::invalid_argument& error) {
                return std::string(error.what());
            }
        }
        std::vector<std::string> fields;
        const auto add = [&fields](const char* name, const std::optional<std::string>& value) {
            if (value) {
                fields.push_back(std::string(name) + "=" + *value);
            }
        };
        add("abbreviation", prefill.abbreviation);
        add("label", prefill.label);
        add("group", prefill.group);
        add("type", prefill.type);
        // Without content the panel would take the text selected in the focused window; a
        // link must not read what the user selected, so it always says what the content is.
        add("content", prefill.content.value_or(""));
        shell_.openQuickCreate(fields);
        return std::nullopt;
    };
    actions.presentQuickSearch = [this](const std::string& query) -> std::optional<std::string> {
        shell_.openQuickSearch(query);
        return std::nullopt;
    };
    actions.presentClipboardHistory = [this]() -> std::optional<std::string> {
        if (!shell_.openClipboardHistory()) {
            return std::string("The clipboard history is not available");
        }
        return std::nullopt;
    };
    actions.selectSnippet = [this](const Uuid& id) -> std::optional<std::string> {
        if (selectSnippetFromURL.size() == 0) {
            return std::string("The library window is not available");
        }
        selectSnippetFromURL.notify(id);
        return std::nullopt;
    };
    return actions;
}

}  // namespace wordloom
