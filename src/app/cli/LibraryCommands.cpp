#include "app/cli/LibraryCommands.h"

#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/cli/SnippetPrinting.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

int listCommand(CommandInvocation& invocation) {
    const auto arguments =
        invocation.parse({{"json", Kind::flag}, {"deleted", Kind::flag}, {"group", Kind::value}});
    expectPositionals(arguments, 0);
    auto session = openLibrary(invocation, arguments);
    const auto& store = session->snippets();
    std::optional<Uuid> groupId;
    if (auto name = arguments.value("group")) {
        groupId = resolveGroup(store, *name).id;
    }
    const bool deleted = arguments.has("deleted");
    std::vector<Snippet> selected;
    for (const auto& s : store.snippets()) {
        if (s.isDeleted() == deleted && (!groupId || s.groupId == groupId)) {
            selected.push_back(s);
        }
    }
    if (arguments.has("json")) {
        writeSnippetsJson(invocation.out(), selected);
    } else {
        printSnippetTable(invocation.out(), store, selected);
    }
    return 0;
}

int showCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"json", Kind::flag}});
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    const auto& store = session->snippets();
    const auto& snippet = resolveSnippet(store, arguments.positionals()[0], SnippetScope::any);
    if (arguments.has("json")) {
        printSnippetJson(invocation.out(), snippet);
    } else {
        printSnippetDetails(invocation.out(), store, snippet);
    }
    return 0;
}

}  // namespace

void registerLibraryCommands(CommandRegistry& registry) {
    registry.add({"list", "wordloom list [--json] [--deleted] [--group NAME]",
                  "List the snippets (or those in Recently Deleted, or of one group).",
                  listCommand});
    registry.add({"show", "wordloom show ID|ABBREVIATION [--json]",
                  "Show one snippet with all its fields.", showCommand});
}

}  // namespace wordloom::cli
