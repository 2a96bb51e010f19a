#include "app/cli/CompletionCommands.h"

#include <ostream>
#include <set>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"

namespace wordloom::cli {
namespace {

int completeCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    expectPositionals(arguments, 1);
    const auto& what = arguments.positionals()[0];
    if (what != "abbreviations" && what != "groups") {
        throw UsageError("complete abbreviations or complete groups");
    }
    auto session = openLibrary(invocation, arguments);
    std::set<std::string> words;
    if (what == "abbreviations") {
        for (const auto& snippet : session->snippets().snippets()) {
            // A completion word is one line; other abbreviations are still reachable by id.
            if (!snippet.isDeleted() &&
                snippet.abbreviation.find_first_of("\n\r\t ") == std::string::npos) {
                words.insert(snippet.abbreviation);
            }
        }
    } else {
        for (const auto& group : session->snippets().groups()) {
            if (group.name.find_first_of("\n\r") == std::string::npos) {
                words.insert(group.name);
            }
        }
    }
    for (const auto& word : words) {
        invocation.out() << word << "\n";
    }
    return 0;
}

}  // namespace

void registerCompletionCommands(CommandRegistry& registry) {
    registry.add({"complete", "wordloom complete abbreviations|groups",
                  "Print the snippet abbreviations or group names, one a line, for shell "
                  "completion.",
                  completeCommand});
}

}  // namespace wordloom::cli
