#include "app/cli/LibraryCommands.h"

#include <algorithm>
#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "app/cli/SnippetOptions.h"
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

void printWarning(const CommandInvocation& invocation, const std::optional<std::string>& warning) {
    if (warning) {
        invocation.err() << "wordloom: warning: " << *warning << "\n";
    }
}

std::string quoted(const Snippet& snippet) {
    return "\u201c" + snippet.displayName() + "\u201d";
}

int addCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse(snippetOptionSpecs());
    expectPositionals(arguments, 0);
    if (!arguments.has("abbreviation")) {
        throw UsageError("--abbreviation is required");
    }
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    Snippet snippet;
    snippet.id = Uuid::random();
    snippet.createdAt = session->executor().now();
    snippet.modifiedAt = snippet.createdAt;
    snippet.triggerMode = session->settings().settings().defaultTriggerMode;
    snippet.caseSensitivity = session->settings().settings().defaultCaseSensitivity;
    applySnippetOptions(invocation, arguments, store, snippet);
    printWarning(invocation, checkSnippetBeforeSaving(store, snippet, arguments.has("force")));
    store.add(snippet);
    session->save();
    invocation.out() << snippet.id.toString() << "\n";
    return 0;
}

int editCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse(snippetOptionSpecs());
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    Snippet snippet = resolveSnippet(store, arguments.positionals()[0], SnippetScope::any);
    const Snippet before = snippet;
    applySnippetOptions(invocation, arguments, store, snippet);
    if (snippet == before) {
        invocation.out() << "Nothing to change.\n";
        return 0;
    }
    if (snippet.abbreviation != before.abbreviation || snippet.matchType != before.matchType ||
        snippet.contentType != before.contentType) {
        printWarning(invocation, checkSnippetBeforeSaving(store, snippet, arguments.has("force")));
    }
    store.update(snippet);
    session->save();
    invocation.out() << "Updated " << quoted(snippet) << ".\n";
    return 0;
}

int removeCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"permanent", Kind::flag}});
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    const bool permanent = arguments.has("permanent");
    const Snippet snippet = resolveSnippet(store, arguments.positionals()[0],
                                           permanent ? SnippetScope::any : SnippetScope::active);
    if (permanent) {
        store.deletePermanently(snippet.id);
    } else {
        store.softDelete(snippet.id);
    }
    session->save();
    invocation.out() << (permanent ? "Deleted " + quoted(snippet) + " permanently.\n"
                                   : "Moved " + quoted(snippet) + " to Recently Deleted.\n");
    return 0;
}

int undeleteCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    const Snippet snippet =
        resolveSnippet(store, arguments.positionals()[0], SnippetScope::deleted);
    store.restore(snippet.id);
    session->save();
    invocation.out() << "Restored " << quoted(snippet) << " from Recently Deleted.\n";
    return 0;
}

int emptyTrashCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    expectPositionals(arguments, 0);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    const auto count = std::count_if(store.snippets().begin(), store.snippets().end(),
                                     [](const Snippet& s) { return s.isDeleted(); });
    store.emptyRecentlyDeleted();
    session->save();
    invocation.out() << "Permanently removed " << count << (count == 1 ? " snippet" : " snippets")
                     << " from Recently Deleted.\n";
    return 0;
}

int duplicateCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    const auto& original = resolveSnippet(store, arguments.positionals()[0], SnippetScope::any);
    Snippet copy;
    try {
        copy = store.duplicate(original.id);
    } catch (const std::runtime_error& error) {
        throw CommandError(error.what());
    }
    session->save();
    invocation.out() << copy.id.toString() << "\n";
    return 0;
}

}  // namespace

void registerLibraryCommands(CommandRegistry& registry) {
    registry.add({"list", "wordloom list [--json] [--deleted] [--group NAME]",
                  "List the snippets (or those in Recently Deleted, or of one group).",
                  listCommand});
    registry.add({"show", "wordloom show ID|ABBREVIATION [--json]",
                  "Show one snippet with all its fields.", showCommand});
    const std::string snippetOptions =
        "[--label L] [--content TEXT | --content-file FILE] [--type T] [--group NAME] "
        "[--trigger M] [--case C] [--match exact|regex] [--tag T]... [--image FILE] [--force]";
    registry.add({"add", "wordloom add --abbreviation A " + snippetOptions,
                  "Add a snippet and print its id.", addCommand});
    registry.add({"edit", "wordloom edit ID|ABBREVIATION [--abbreviation A] " + snippetOptions,
                  "Change a snippet (its earlier state is kept as a version).", editCommand});
    registry.add({"remove", "wordloom remove ID|ABBREVIATION [--permanent]",
                  "Move a snippet to Recently Deleted, or delete it for good.", removeCommand});
    registry.add({"undelete", "wordloom undelete ID|ABBREVIATION",
                  "Bring a snippet back from Recently Deleted.", undeleteCommand});
    registry.add({"empty-trash", "wordloom empty-trash",
                  "Permanently remove every snippet in Recently Deleted.", emptyTrashCommand});
    registry.add({"duplicate", "wordloom duplicate ID|ABBREVIATION",
                  "Copy a snippet (labelled \"<label> Copy\") and print the copy's id.",
                  duplicateCommand});
}

}  // namespace wordloom::cli
