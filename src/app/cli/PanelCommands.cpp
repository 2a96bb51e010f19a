#include "app/cli/PanelCommands.h"

#include <ostream>
#include <stdexcept>

#include "app/cli/CommandErrors.h"
#include "app/cli/CommandRegistry.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/desktop/RequestChannel.h"
#include "core/library/SnippetDraft.h"

namespace wordloom::cli {

namespace {

constexpr auto answerLimit = std::chrono::seconds(5);
// The fields a quick-create request may carry, each sent as "name=value".
constexpr const char* draftFields[] = {"abbreviation", "label", "content", "group", "type"};

void sendToInstance(CommandInvocation& invocation, const std::string& command,
                    const std::vector<std::string>& arguments) {
    const auto socket = requestChannel::socketPath(invocation.environment("DISPLAY").value_or(""));
    try {
        requestChannel::sendArguments(socket, command, arguments, answerLimit);
    } catch (const std::runtime_error& error) {
        throw CommandError(error.what());
    }
}

int quickSearch(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    if (arguments.positionals().size() > 1) {
        throw UsageError("quick-search takes at most one query (quote it when it has spaces).");
    }
    sendToInstance(invocation, "quick-search", arguments.positionals());
    return 0;
}

int quickCreate(CommandInvocation& invocation) {
    std::vector<OptionSpec> specs;
    for (const char* field : draftFields) {
        specs.push_back({field, OptionSpec::Kind::value});
    }
    const auto arguments = invocation.parse(specs);
    expectPositionals(arguments, 0);
    if (const auto type = arguments.value("type")) {
        try {
            contentTypeNamed(*type);
        } catch (const std::invalid_argument& error) {
            throw UsageError(error.what());
        }
    }
    std::vector<std::string> fields;
    for (const char* field : draftFields) {
        if (const auto value = arguments.value(field)) {
            fields.push_back(std::string(field) + "=" + *value);
        }
    }
    sendToInstance(invocation, "quick-create", fields);
    return 0;
}

}  // namespace

void registerPanelCommands(CommandRegistry& registry) {
    registry.add({"quick-search", "wordloom quick-search [QUERY]",
                  "Open the running Wordloom's quick search, with QUERY typed in; Enter expands "
                  "the chosen snippet where you were typing (bind it to a desktop shortcut).",
                  quickSearch});
    registry.add({"quick-create",
                  "wordloom quick-create [--abbreviation A] [--content TEXT] [--label L] "
                  "[--group G] [--type plainText|markdown|code|javaScript]",
                  "Open the running Wordloom's New Snippet panel, filled in with what is given; "
                  "without --content it takes the text selected in the focused window.",
                  quickCreate});
}

}  // namespace wordloom::cli
