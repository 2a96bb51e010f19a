#include "app/cli/RequestCommands.h"

#include <ostream>
#include <stdexcept>

#include "app/cli/CommandErrors.h"
#include "app/cli/CommandRegistry.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/desktop/RequestChannel.h"

namespace wordloom::cli {

namespace {

constexpr auto answerLimit = std::chrono::seconds(5);

int sendRequest(CommandInvocation& invocation, const std::string& command, const char* done) {
    const auto arguments = invocation.parse({});
    expectPositionals(arguments, 1);
    const std::string& abbreviation = arguments.positionals()[0];
    const auto socket = requestChannel::socketPath(invocation.environment("DISPLAY").value_or(""));
    try {
        requestChannel::send(socket, command, abbreviation, answerLimit);
    } catch (const std::runtime_error& error) {
        throw CommandError(error.what());
    }
    invocation.out() << done << " \u201c" << abbreviation << "\u201d.\n";
    return 0;
}

}  // namespace

void registerRequestCommands(CommandRegistry& registry) {
    registry.add({"expand-now", "wordloom expand-now ABBREVIATION",
                  "Have the running Wordloom expand the snippet at the caret of the focused "
                  "window (bind it to a desktop shortcut).",
                  [](CommandInvocation& invocation) {
                      return sendRequest(invocation, "expand-now", "Expanding");
                  }});
    registry.add(
        {"copy", "wordloom copy ABBREVIATION",
         "Have the running Wordloom put the snippet's expansion on the clipboard.",
         [](CommandInvocation& invocation) { return sendRequest(invocation, "copy", "Copying"); }});
}

}  // namespace wordloom::cli
