#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/base/Log.h"
#include "core/library/Snippet.h"

namespace wordloom {

/// What a link did.
struct RouteOutcome {
    enum class Kind {
        expanded,
        openedQuickSearch,
        selectedSnippet,
        rejected,
        openedQuickCreate,
        openedClipboardHistory
    };
    Kind kind = Kind::rejected;
    /// Why it was rejected (shown to the user).
    std::string message;
    /// For `expanded`: the text inserted or copied (empty when the pipeline evaluates it).
    std::string expandedText;

    static RouteOutcome rejected(std::string why) { return {Kind::rejected, std::move(why), {}}; }
};

std::string_view routeOutcomeName(RouteOutcome::Kind kind);

/// The fields a "new-snippet" link fills in (as given; the panel checks them).
struct QuickCreatePrefill {
    std::optional<std::string> abbreviation;
    std::optional<std::string> content;
    std::optional<std::string> label;
    std::optional<std::string> group;
    std::optional<std::string> type;
    bool operator==(const QuickCreatePrefill&) const = default;
};

/// Turns "wordloom://" links into actions. A link can come from any web page, so expansion is
/// off unless the user allowed it, and a snippet expanded from a link (and every snippet it
/// nests) may use only macros that neither run code nor read private data. Nothing throws:
/// every failure is a rejected outcome with the message to show.
class URLSchemeHandler {
  public:
    /// What the handler drives; the desktop gives the real windows and insertion, a dry run
    /// gives ones that only say what would happen.
    struct Actions {
        std::function<bool()> isURLExpansionAllowed;
        /// Active (not deleted) snippets with exactly this abbreviation.
        std::function<std::vector<const Snippet*>(std::string_view abbreviation)> findActive;
        std::function<const Snippet*(const Uuid& id)> findById;
        /// Whether the snippet and its group (and the groups above it) are enabled.
        std::function<bool(const Snippet&)> isEnabled;
        /// The snippet's expansion with the link's inline arguments.
        std::function<std::string(const Snippet&, const std::vector<std::string>& arguments)>
            evaluate;
        std::function<void(const std::string& text)> insertText;
        std::function<void(const std::string& text)> copyText;
        /// When set, a link's expansion goes through the expansion pipeline instead (fill-in
        /// form, use count, sound and notification as for a typed abbreviation), and
        /// evaluate, insertText and copyText are not used. Called only after the safety rules
        /// passed; returns why it cannot expand now (expansion paused), else nothing.
        std::function<std::optional<std::string>(
            const Snippet&, const std::vector<std::string>& arguments, bool copy)>
            expandSnippet;
        /// Each returns a message when the window is not available, else nothing.
        std::function<std::optional<std::string>(const QuickCreatePrefill&)> presentQuickCreate;
        std::function<std::optional<std::string>(const std::string& query)> presentQuickSearch;
        std::function<std::optional<std::string>()> presentClipboardHistory;
        /// Brings the library window forward with the snippet selected
        /// ("WordloomSelectSnippetFromURL").
        std::function<std::optional<std::string>(const Uuid& snippetId)> selectSnippet;
    };

    /// Longest parameter value, in characters.
    static constexpr std::size_t maximumParameterLength = 65'536;

    explicit URLSchemeHandler(Actions actions);

    RouteOutcome handle(std::string_view url) const;

    /// The first safety rule `snippet` (or a snippet it nests) breaks, or nothing.
    std::optional<std::string> unsafeForLinks(const Snippet& snippet) const;

  private:
    RouteOutcome expand(const std::vector<std::pair<std::string, std::string>>& query) const;

    Actions actions_;
    Logger logger_{"URLSchemeHandler"};
};

}  // namespace wordloom
