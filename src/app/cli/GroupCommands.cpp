#include "app/cli/GroupCommands.h"

#include <algorithm>
#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/library/LibraryCoding.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

std::string quotedName(const std::string& name) {
    return "\u201c" + name + "\u201d";
}

void printTree(std::ostream& out, const SnippetStore& store, const std::optional<Uuid>& parent,
               int depth, std::vector<Uuid>& printed) {
    std::vector<const SnippetGroup*> children;
    for (const auto& g : store.groups()) {
        const bool isChild = g.parentId == parent ||
                             // a group whose parent is gone shows at the top
                             (!parent && g.parentId && !store.group(*g.parentId));
        if (isChild && std::find(printed.begin(), printed.end(), g.id) == printed.end()) {
            children.push_back(&g);
        }
    }
    std::stable_sort(children.begin(), children.end(),
                     [](const auto* a, const auto* b) { return a->sortOrder < b->sortOrder; });
    for (const auto* g : children) {
        printed.push_back(g->id);
        const auto count =
            std::count_if(store.snippets().begin(), store.snippets().end(),
                          [&](const Snippet& s) { return s.groupId == g->id && !s.isDeleted(); });
        out << std::string(static_cast<std::size_t>(depth) * 2, ' ') << g->name << "  (" << count
            << (count == 1 ? " snippet" : " snippets") << ")" << (g->isEnabled ? "" : " [disabled]")
            << "\n";
        printTree(out, store, g->id, depth + 1, printed);
    }
}

void requireUniqueName(const SnippetStore& store, const std::string& name,
                       const std::optional<Uuid>& parent) {
    if (name.empty()) {
        throw CommandError("A group needs a name.");
    }
    for (const auto& g : store.groups()) {
        if (g.name == name && g.parentId == parent) {
            throw CommandError("A group named " + quotedName(name) + " already exists there.");
        }
    }
}

int groupList(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    const auto& store = session->snippets();
    if (arguments.has("json")) {
        invocation.out() << encodeGroupList(store.groups()) << "\n";
        return 0;
    }
    if (store.groups().empty()) {
        invocation.out() << "No groups.\n";
        return 0;
    }
    std::vector<Uuid> printed;
    printTree(invocation.out(), store, std::nullopt, 0, printed);
    return 0;
}

int groupAdd(CommandInvocation& invocation, const ParsedArguments& arguments) {
    expectPositionals(arguments, 2);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    std::optional<Uuid> parent;
    if (auto parentName = arguments.value("parent")) {
        parent = resolveGroup(store, *parentName).id;
    }
    const auto& name = arguments.positionals()[1];
    requireUniqueName(store, name, parent);
    SnippetGroup group;
    group.id = Uuid::random();
    group.name = name;
    group.parentId = parent;
    group.createdAt = session->executor().now();
    group.modifiedAt = group.createdAt;
    std::int64_t nextOrder = 0;
    for (const auto& g : store.groups()) {
        if (g.parentId == parent) {
            nextOrder = std::max(nextOrder, g.sortOrder + 1);
        }
    }
    group.sortOrder = nextOrder;
    store.addGroup(group);
    session->save();
    invocation.out() << group.id.toString() << "\n";
    return 0;
}

int groupChange(CommandInvocation& invocation, const ParsedArguments& arguments,
                const std::string& action) {
    expectPositionals(arguments, action == "rename" ? 3 : 2);
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    auto& store = session->snippets();
    SnippetGroup group = resolveGroup(store, arguments.positionals()[1]);
    if (action == "rename") {
        const auto& newName = arguments.positionals()[2];
        requireUniqueName(store, newName, group.parentId);
        store.renameGroup(group.id, newName);
        invocation.out() << "Renamed " << quotedName(group.name) << " to " << quotedName(newName)
                         << ".\n";
    } else if (action == "remove") {
        store.deleteGroup(group.id);
        invocation.out() << "Removed the group " << quotedName(group.name)
                         << "; its snippets are now ungrouped.\n";
    } else {
        group.isEnabled = action == "enable";
        store.updateGroup(group);
        invocation.out() << (group.isEnabled ? "Enabled " : "Disabled ") << quotedName(group.name)
                         << ".\n";
    }
    session->save();
    return 0;
}

int groupCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"json", Kind::flag}, {"parent", Kind::value}});
    if (arguments.positionals().empty()) {
        throw UsageError("missing action");
    }
    const auto& action = arguments.positionals()[0];
    if (arguments.has("parent") && action != "add") {
        throw UsageError("--parent is for group add");
    }
    if (arguments.has("json") && action != "list") {
        throw UsageError("--json is for group list");
    }
    if (action == "list") {
        return groupList(invocation, arguments);
    }
    if (action == "add") {
        return groupAdd(invocation, arguments);
    }
    if (action == "rename" || action == "remove" || action == "enable" || action == "disable") {
        return groupChange(invocation, arguments, action);
    }
    throw UsageError("unknown action \u201c" + action + "\u201d");
}

}  // namespace

void registerGroupCommands(CommandRegistry& registry) {
    registry.add({"group",
                  "wordloom group list [--json] | add NAME [--parent NAME] | rename NAME NEW | "
                  "remove NAME | enable NAME | disable NAME",
                  "List, add, rename, remove, enable or disable snippet groups.", groupCommand});
}

}  // namespace wordloom::cli
