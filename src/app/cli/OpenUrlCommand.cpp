#include "app/cli/OpenUrlCommand.h"

#include <istream>
#include <iterator>
#include <ostream>
#include <stdexcept>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/desktop/RequestChannel.h"
#include "core/base/JsonWriter.h"
#include "core/triggers/LibraryLinkLookup.h"
#include "core/triggers/URLSchemeHandler.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

/// A dry run: the library is real, the windows and the insertion only say what would happen.
URLSchemeHandler::Actions dryRunActions(LibrarySession& session, bool& copied) {
    URLSchemeHandler::Actions actions;
    readLibraryForLinks(actions, session.snippets(), session.settings());
    actions.insertText = [](const std::string&) {};
    actions.copyText = [&copied](const std::string&) { copied = true; };
    actions.presentQuickCreate = [](const QuickCreatePrefill&) { return std::nullopt; };
    actions.presentQuickSearch = [](const std::string&) { return std::nullopt; };
    actions.presentClipboardHistory = [] { return std::nullopt; };
    actions.selectSnippet = [](const Uuid&) { return std::nullopt; };
    return actions;
}

// Long enough for an answer that waits on the main loop of a busy instance.
constexpr auto answerLimit = std::chrono::seconds(5);

void printOutcome(CommandInvocation& invocation, bool json, const std::string& outcome,
                  const std::string& message) {
    if (json) {
        JsonWriter w;
        w.beginObject();
        w.field("message", message);
        w.field("outcome", outcome);
        w.endObject();
        invocation.out() << w.take() << "\n";
        return;
    }
    invocation.out() << outcome << (message.empty() ? "" : ": " + message) << "\n";
}

/// Hands the link to the instance running on this display, which acts on it, and prints what
/// came of it. Starts nothing: a link opened while Wordloom is not running is for nothing.
int openInRunningInstance(CommandInvocation& invocation, const ParsedArguments& arguments,
                          const std::string& url) {
    if (url.size() > requestChannel::maximumRequestBytes / 2) {
        throw CommandError("The link is longer than Wordloom takes (" + std::to_string(url.size()) +
                           " bytes).");
    }
    const auto socket = requestChannel::socketPath(invocation.environment("DISPLAY").value_or(""));
    std::vector<std::string> result;
    try {
        result = requestChannel::ask(socket, "open-url", {url}, answerLimit);
    } catch (const std::runtime_error& error) {
        throw CommandError(error.what());
    }
    if (result.size() != 2) {
        throw CommandError("Wordloom gave an answer this command does not understand.");
    }
    printOutcome(invocation, arguments.has("json"), result[0], result[1]);
    return result[0] == routeOutcomeName(RouteOutcome::Kind::rejected) ? 1 : 0;
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
        return openInRunningInstance(invocation, arguments, url);
    }
    auto session = openLibrary(invocation, arguments);
    bool copied = false;
    const URLSchemeHandler handler(dryRunActions(*session, copied));
    const auto outcome = handler.handle(url);
    const auto name = std::string(routeOutcomeName(outcome.kind));
    const bool expanded = outcome.kind == RouteOutcome::Kind::expanded;
    if (arguments.has("json")) {
        JsonWriter w;
        w.beginObject();
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
        printOutcome(invocation, false, name, outcome.message);
        if (expanded) {
            invocation.out() << (copied ? "would copy:\n" : "would insert:\n")
                             << outcome.expandedText << "\n";
        }
    }
    return outcome.kind == RouteOutcome::Kind::rejected ? 1 : 0;
}

}  // namespace

void registerOpenUrlCommand(CommandRegistry& registry) {
    registry.add({"open-url", "wordloom open-url [--dry-run] [--json] URL|-",
                  "Hand a wordloom:// link to the running Wordloom and say what came of it; "
                  "with --dry-run, say what it would do without doing it (URL - reads it from "
                  "standard input).",
                  openUrlCommand});
}

}  // namespace wordloom::cli
