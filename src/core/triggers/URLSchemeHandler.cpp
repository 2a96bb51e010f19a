#include "core/triggers/URLSchemeHandler.h"

#include <set>
#include <variant>

#include "core/base/HexDigit.h"
#include "core/base/Text.h"
#include "core/macros/InlineParameterParser.h"
#include "core/macros/MacroParser.h"

namespace wordloom {
namespace {

using Query = std::vector<std::pair<std::string, std::string>>;

/// %XX escapes decoded; "+" stays a plus sign, as links' query items read it.
std::string percentDecoded(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexDigitValue(text[i + 1]);
            const int low = hexDigitValue(text[i + 2]);
            if (high >= 0 && low >= 0) {
                out += static_cast<char>(high * 16 + low);
                i += 2;
                continue;
            }
        }
        out += text[i];
    }
    return out;
}

struct ParsedLink {
    std::string scheme;
    std::string route;
    Query query;
};

ParsedLink parseLink(std::string_view url) {
    ParsedLink link;
    const auto colon = url.find(':');
    if (colon == std::string_view::npos) {
        return link;
    }
    link.scheme = text::lowercased(url.substr(0, colon));
    auto rest = url.substr(colon + 1);
    if (const auto hash = rest.find('#'); hash != std::string_view::npos) {
        rest = rest.substr(0, hash);
    }
    std::string_view query;
    if (const auto question = rest.find('?'); question != std::string_view::npos) {
        query = rest.substr(question + 1);
        rest = rest.substr(0, question);
    }
    std::string_view host;
    std::string_view path = rest;
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const auto slash = rest.find('/');
        host = rest.substr(0, slash);
        path = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
    }
    if (!host.empty()) {
        link.route = text::lowercased(percentDecoded(host));
    } else {
        while (!path.empty() && path.front() == '/') {
            path.remove_prefix(1);
        }
        while (!path.empty() && path.back() == '/') {
            path.remove_suffix(1);
        }
        link.route = text::lowercased(percentDecoded(path));
    }
    while (!query.empty()) {
        const auto end = query.find('&');
        const auto item = query.substr(0, end);
        if (!item.empty()) {
            const auto equals = item.find('=');
            link.query.emplace_back(text::lowercased(percentDecoded(item.substr(0, equals))),
                                    equals == std::string_view::npos
                                        ? std::string()
                                        : percentDecoded(item.substr(equals + 1)));
        }
        if (end == std::string_view::npos) {
            break;
        }
        query.remove_prefix(end + 1);
    }
    return link;
}

std::optional<std::string> value(const Query& query,
                                 std::initializer_list<std::string_view> names) {
    for (const auto name : names) {
        for (const auto& [key, item] : query) {
            if (key == name) {
                return item;
            }
        }
    }
    return std::nullopt;
}

bool flag(const Query& query, std::string_view name) {
    const auto item = value(query, {name});
    if (!item) {
        return false;
    }
    const auto lower = text::lowercased(*item);
    return lower.empty() || lower == "1" || lower == "true" || lower == "yes";
}

bool hasPrivateUseCharacter(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = static_cast<unsigned char>(text[i]);
        char32_t code = 0;
        std::size_t length = 1;
        if (byte < 0x80) {
            code = byte;
        } else if ((byte >> 5) == 0x6 && i + 1 < text.size()) {
            code = ((byte & 0x1F) << 6) | (static_cast<unsigned char>(text[i + 1]) & 0x3F);
            length = 2;
        } else if ((byte >> 4) == 0xE && i + 2 < text.size()) {
            code = ((byte & 0x0F) << 12) | ((static_cast<unsigned char>(text[i + 1]) & 0x3F) << 6) |
                   (static_cast<unsigned char>(text[i + 2]) & 0x3F);
            length = 3;
        } else if ((byte >> 3) == 0x1E && i + 3 < text.size()) {
            code = ((byte & 0x07) << 18) |
                   ((static_cast<unsigned char>(text[i + 1]) & 0x3F) << 12) |
                   ((static_cast<unsigned char>(text[i + 2]) & 0x3F) << 6) |
                   (static_cast<unsigned char>(text[i + 3]) & 0x3F);
            length = 4;
        }
        if ((code >= 0xE000 && code <= 0xF8FF) || (code >= 0xF0000 && code <= 0xFFFFD) ||
            (code >= 0x100000 && code <= 0x10FFFD)) {
            return true;
        }
        i += length;
    }
    return false;
}

template <typename... Kinds>
bool isOneOf(const MacroType& type) {
    return (std::holds_alternative<Kinds>(type) || ...);
}

}  // namespace

std::string_view routeOutcomeName(RouteOutcome::Kind kind) {
    switch (kind) {
        case RouteOutcome::Kind::expanded:
            return "expanded";
        case RouteOutcome::Kind::openedQuickSearch:
            return "openedQuickSearch";
        case RouteOutcome::Kind::selectedSnippet:
            return "selectedSnippet";
        case RouteOutcome::Kind::rejected:
            return "rejected";
        case RouteOutcome::Kind::openedQuickCreate:
            return "openedQuickCreate";
        case RouteOutcome::Kind::openedClipboardHistory:
            return "openedClipboardHistory";
    }
    return "rejected";
}

URLSchemeHandler::URLSchemeHandler(Actions actions) : actions_(std::move(actions)) {}

std::optional<std::string> URLSchemeHandler::unsafeForLinks(const Snippet& root) const {
    std::set<Uuid> visited;
    std::vector<const Snippet*> pending{&root};
    while (!pending.empty()) {
        const auto* snippet = pending.back();
        pending.pop_back();
        if (!visited.insert(snippet->id).second) {
            continue;  // a cycle, or a snippet nested twice
        }
        if (snippet->contentType == ContentType::javaScript) {
            return "JavaScript snippets cannot be expanded from a URL";
        }
        std::vector<ParsedMacro> macros;
        if (snippet->content.find("{{") != std::string::npos) {
            macros = MacroParser::parse(snippet->content);
        }
        const auto any = [&](auto test) {
            for (const auto& macro : macros) {
                if (test(macro.type)) {
                    return true;
                }
            }
            return false;
        };
        if (any([](const MacroType& t) { return isOneOf<macro::JavaScript>(t); })) {
            return "Snippets that run JavaScript cannot be expanded from a URL";
        }
        if (any([](const MacroType& t) { return isOneOf<macro::AI>(t); })) {
            return "Snippets that call AI cannot be expanded from a URL";
        }
        if (any([](const MacroType& t) {
                return isOneOf<macro::Clipboard, macro::SelectedText>(t);
            })) {
            return "Snippets that read the clipboard or selected text cannot be expanded from a "
                   "URL";
        }
        if (hasPrivateUseCharacter(snippet->content)) {
            return "Snippets from a link cannot contain private-use characters";
        }
        if (any([](const MacroType& t) {
                return !isOneOf<macro::Date, macro::Time, macro::Today, macro::Tomorrow,
                                macro::Yesterday, macro::Now, macro::Input, macro::Textarea,
                                macro::Select, macro::Optional, macro::OptionalEnd, macro::Cursor,
                                macro::Random, macro::Uuid, macro::Snippet>(t);
            })) {
            return "Snippets from a link can only use date, time, fill-in, cursor, random and UUID "
                   "macros";
        }
        for (const auto& macro : macros) {
            if (const auto* nested = std::get_if<macro::Snippet>(&macro.type)) {
                for (const auto* found : actions_.findActive(nested->abbreviation)) {
                    pending.push_back(found);
                }
            }
        }
    }
    return std::nullopt;
}

RouteOutcome URLSchemeHandler::expand(const Query& query) const {
    if (!actions_.isURLExpansionAllowed()) {
        return RouteOutcome::rejected("URL scheme expansion is disabled in Preferences");
    }
    const auto abbreviation = value(query, {"abbreviation", "abbr", "keyword"}).value_or("");
    const auto matches = actions_.findActive(abbreviation);
    if (matches.empty()) {
        return RouteOutcome::rejected("Matching active snippet not found");
    }
    const Snippet& snippet = *matches.front();
    if (!actions_.isEnabled(snippet)) {
        return RouteOutcome::rejected("Snippet is disabled or in a disabled group");
    }
    if (const auto unsafe = unsafeForLinks(snippet)) {
        return RouteOutcome::rejected(*unsafe);
    }
    std::vector<std::string> arguments;
    if (const auto typed = value(query, {"args", "inline"})) {
        // As if typed after the abbreviation: ";greet<Ann<Oslo>".
        if (const auto parsed = InlineParameterParser::parse(snippet.abbreviation + *typed,
                                                             snippet.abbreviation, true)) {
            arguments = parsed->arguments;
        }
    }
    if (actions_.expandSnippet) {
        if (auto refusal = actions_.expandSnippet(snippet, arguments, flag(query, "copy"))) {
            return RouteOutcome::rejected(std::move(*refusal));
        }
        return RouteOutcome{RouteOutcome::Kind::expanded, {}, {}};
    }
    auto outcome =
        RouteOutcome{RouteOutcome::Kind::expanded, {}, actions_.evaluate(snippet, arguments)};
    if (flag(query, "copy")) {
        actions_.copyText(outcome.expandedText);
    } else {
        actions_.insertText(outcome.expandedText);
    }
    return outcome;
}

RouteOutcome URLSchemeHandler::handle(std::string_view url) const {
    const auto link = parseLink(url);
    if (link.scheme != "wordloom") {
        return RouteOutcome::rejected("Unsupported URL scheme");
    }
    for (const auto& [name, item] : link.query) {
        if (item.size() > maximumParameterLength &&
            text::characterCount(item) > maximumParameterLength) {
            logger_.error("Rejected URL parameter '" + name + "' exceeding max length");
            return RouteOutcome::rejected("Parameter '" + name + "' exceeds maximum length");
        }
    }
    const auto& route = link.route;
    const auto& query = link.query;
    const auto opened = [](RouteOutcome::Kind kind, const std::optional<std::string>& refusal) {
        return refusal ? RouteOutcome::rejected(*refusal) : RouteOutcome{kind, {}, {}};
    };
    if (route == "expand") {
        return expand(query);
    }
    if (route == "new-snippet" || route == "create-snippet" || route == "add-snippet") {
        QuickCreatePrefill prefill{value(query, {"abbreviation", "abbr"}),
                                   value(query, {"content", "text"}),
                                   value(query, {"label", "title", "name"}),
                                   value(query, {"group", "collection"}), value(query, {"type"})};
        return opened(RouteOutcome::Kind::openedQuickCreate, actions_.presentQuickCreate(prefill));
    }
    if (route == "search" || route == "quick-search") {
        return opened(RouteOutcome::Kind::openedQuickSearch,
                      actions_.presentQuickSearch(value(query, {"query"}).value_or("")));
    }
    if (route == "clipboard" || route == "clipboard-history") {
        return opened(RouteOutcome::Kind::openedClipboardHistory,
                      actions_.presentClipboardHistory());
    }
    if (route == "snippet" || route == "edit-snippet") {
        const Snippet* found = nullptr;
        if (const auto id = value(query, {"snippetid"}); id && Uuid::parse(*id)) {
            found = actions_.findById(*Uuid::parse(*id));
            if (found && found->isDeleted()) {
                found = nullptr;
            }
        }
        if (!found) {
            if (const auto abbreviation = value(query, {"abbreviation", "abbr"})) {
                const auto matches = actions_.findActive(*abbreviation);
                found = matches.empty() ? nullptr : matches.front();
            }
        }
        if (!found) {
            return RouteOutcome::rejected("Snippet not found");
        }
        return opened(RouteOutcome::Kind::selectedSnippet, actions_.selectSnippet(found->id));
    }
    return RouteOutcome::rejected("Unknown route '" + route + "'");
}

}  // namespace wordloom
