#include "app/cli/OpenUrlCommand.h"

#include <istream>
#include <iterator>
#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/JsonWriter.h"
#include "core/macros/InlineParameterParser.h"
#include "core/macros/MacroEvaluator.h"
#include "core/triggers/URLSchemeHandler.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

/// Whether the snippet and every group above it are enabled.
bool enabledWithGroups(const SnippetStore& store, const Snippet& snippet) {
    if (!snippet.isEnabled) {
        return false;
    }
    auto group = snippet.groupId;
    for (int depth = 0; group && depth < 64; ++depth) {
        const auto* found = store.group(*group);
        if (!found) {
            break;
        }
        if (!found->isEnabled) {
            return false;
        }
        group = found->parentId;
    }
    return true;
}

/// A dry run: the library is real, the windows and the insertion only say what would happen.
URLSchemeHandler::Actions dryRunActions(LibrarySession& session, bool& copied) {
    auto& store = session.snippets();
    URLSchemeHandler::Actions actions;
    actions.isURLExpansionAllowed = [&session] {
        return session.settings().settings().allowURLSchemeExpansion;
    };
    actions.findActive = [&store](std::string_view abbreviation) {
        return store.snippetsWithAbbreviation(abbreviation);
    };
    actions.findById = [&store](const Uuid& id) { return store.snippet(id); };
    actions.isEnabled = [&store](const Snippet& s) { return enabledWithGroups(store, s); };
    actions.evaluate = [&store](const Snippet& snippet, const std::vector<std::string>& arguments) {
        EvaluationContext context;
        context.findSnippet = [&store](const std::string& abbreviation) -> std::optional<Snippet> {
            for (const auto* candidate : store.snippetsWithAbbreviation(abbreviation)) {
                return *candidate;
            }
            return std::nullopt;
        };
        context.visitedAbbreviations.insert(snippet.abbreviation);
        context.fillInValues = InlineParameterParser::bind(
            InlineParameterParser::fillableFields(snippet.content), arguments);
        return MacroEvaluator().evaluate(snippet.content, context).expandedContent;
    };
    actions.insertText = [](const std::string&) {};
    actions.copyText = [&copied](const std::string&) { copied = true; };
    actions.presentQuickCreate = [](const QuickCreatePrefill&) { return std::nullopt; };
    actions.presentQuickSearch = [](const std::string&) { return std::nullopt; };
    actions.presentClipboardHistory = [] { return std::nullopt; };
    actions.selectSnippet = [](const Uuid&) { return std::nullopt; };
    return actions;
}

int openUrlCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"dry-run", Kind::flag}, {"json", Kind::flag}});
    expectPositionals(arguments, 1);
    std::string url = arguments.positionals()[0];
    if (url == "-") {
        // A link can be longer than an argument may be.
        url.assign(std::istreambuf_iterator<char>(invocation.in()), {});
        while (!url.empty() && (url.back() == '\n' || url.back() == '\r')) {
            url.pop_back();
        }
    }
    if (!arguments.has("dry-run")) {
        throw CommandError(
            "Handing links to the running Wordloom is not built yet. \u201cwordloom open-url "
            "--dry-run URL\u201d shows what the link would do.");
    }
    auto session = openLibrary(invocation, arguments);
    bool copied = false;
    const URLSchemeHandler handler(dryRunActions(*session, copied));
    const auto outcome = handler.handle(url);
    const auto name = std::string(routeOutcomeName(outcome.kind));
    if (arguments.has("json")) {
        JsonWriter w;
        w.beginObject();
        const bool expanded = outcome.kind == RouteOutcome::Kind::expanded;
        if (expanded) {
            w.field("copied", copied);
        }
        w.field("message", outcome.message);
        w.field("outcome", name);
        if (expanded) {
            w.field("text", outcome.expandedText);
        }
        w.endObject();
        invocation.out() << w.take() << "\n";
    } else {
        invocation.out() << name;
        if (!outcome.message.empty()) {
            invocation.out() << ": " << outcome.message;
        }
        invocation.out() << "\n";
        if (outcome.kind == RouteOutcome::Kind::expanded) {
            invocation.out() << (copied ? "would copy:\n" : "would insert:\n")
                             << outcome.expandedText << "\n";
        }
    }
    return outcome.kind == RouteOutcome::Kind::rejected ? 1 : 0;
}

}  // namespace

void registerOpenUrlCommand(CommandRegistry& registry) {
    registry.add({"open-url", "wordloom open-url --dry-run [--json] URL|-",
                  "Say what a wordloom:// link would do, without doing it (URL - reads it from "
                  "standard input).",
                  openUrlCommand});
}

}  // namespace wordloom::cli
