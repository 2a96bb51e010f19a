#include "app/cli/LibraryWindowCommand.h"

#include <stdexcept>

#include "app/cli/CommandErrors.h"
#include "app/cli/CommandRegistry.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/desktop/RequestChannel.h"

namespace wordloom::cli {

namespace {

constexpr auto answerLimit = std::chrono::seconds(5);

int libraryCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    if (arguments.positionals().size() > 1) {
        throw UsageError("library takes at most one snippet, by id or abbreviation.");
    }
    // The running instance finds the snippet in its own library, which may hold changes not
    // yet written; it answers with the reason when there is no such snippet.
    const auto socket = requestChannel::socketPath(invocation.environment("DISPLAY").value_or(""));
    try {
        requestChannel::sendArguments(socket, "library", arguments.positionals(), answerLimit);
    } catch (const std::runtime_error& error) {
        throw CommandError(error.what());
    }
    return 0;
}

}  // namespace

void registerLibraryWindowCommand(CommandRegistry& registry) {
    registry.add({"library", "wordloom library [ID|ABBREVIATION]",
                  "Bring the running Wordloom's library window forward, with the snippet (named "
                  "by its id or abbreviation) chosen.",
                  libraryCommand});
}

}  // namespace wordloom::cli
