#include "app/cli/LibraryCommandSupport.h"

#include <ostream>
#include <set>

#include "app/cli/CommandErrors.h"
#include "core/library/LibraryCoding.h"

namespace wordloom::cli {

std::unique_ptr<LibrarySession> openLibrary(const CommandInvocation& invocation,
                                            const ParsedArguments& arguments) {
    auto session =
        std::make_unique<LibrarySession>(LibraryLocation::resolve(invocation, arguments));
    for (const auto& warning : session->loadWarnings()) {
        invocation.err() << "wordloom: warning: " << warning << "\n";
    }
    return session;
}

const Snippet& resolveSnippet(const SnippetStore& store, std::string_view reference,
                              SnippetScope scope) {
    auto inScope = [scope](const Snippet& s) {
        switch (scope) {
            case SnippetScope::active:
                return !s.isDeleted();
            case SnippetScope::deleted:
                return s.isDeleted();
            case SnippetScope::any:
                return true;
        }
        return true;
    };
    if (const auto id = Uuid::parse(reference)) {
        if (const auto* s = store.snippet(*id); s && inScope(*s)) {
            return *s;
        }
    }
    std::vector<const Snippet*> matches;
    for (const auto& s : store.snippets()) {
        if (s.abbreviation == reference && inScope(s)) {
            matches.push_back(&s);
        }
    }
    if (matches.empty()) {
        const char* where = scope == SnippetScope::deleted ? " in Recently Deleted" : "";
        throw CommandError("No snippet" + std::string(where) +
                           " has the id or abbreviation \u201c" + std::string(reference) +
                           "\u201d.");
    }
    if (matches.size() > 1) {
        std::string message = "The abbreviation \u201c" + std::string(reference) +
                              "\u201d matches " + std::to_string(matches.size()) +
                              " snippets; name one by its id:";
        for (const auto* s : matches) {
            message += "\n  " + s->id.toString() + "  " + s->displayName();
        }
        throw CommandError(message);
    }
    return *matches.front();
}

const SnippetGroup& resolveGroup(const SnippetStore& store, std::string_view name) {
    if (const auto id = Uuid::parse(name)) {
        if (const auto* g = store.group(*id)) {
            return *g;
        }
    }
    std::vector<const SnippetGroup*> matches;
    for (const auto& g : store.groups()) {
        if (g.name == name) {
            matches.push_back(&g);
        }
    }
    if (matches.empty()) {
        throw CommandError("No group is named \u201c" + std::string(name) + "\u201d.");
    }
    if (matches.size() > 1) {
        std::string message =
            "Several groups are named \u201c" + std::string(name) + "\u201d; name one by its id:";
        for (const auto* g : matches) {
            message += "\n  " + g->id.toString() + "  " + groupPath(store, g->id);
        }
        throw CommandError(message);
    }
    return *matches.front();
}

void expectPositionals(const ParsedArguments& arguments, std::size_t count) {
    const auto given = arguments.positionals().size();
    if (given < count) {
        throw UsageError("missing argument");
    }
    if (given > count) {
        throw UsageError("unexpected argument \u201c" + arguments.positionals()[count] + "\u201d");
    }
}

void writeSnippetsJson(std::ostream& out, const std::vector<Snippet>& snippets) {
    out << encodeSnippetList(snippets) << "\n";
}

std::string groupPath(const SnippetStore& store, const std::optional<Uuid>& groupId) {
    std::string path;
    std::set<Uuid> seen;  // a hand-edited file may hold a cycle
    auto current = groupId;
    while (current && seen.insert(*current).second) {
        const auto* g = store.group(*current);
        if (!g) {
            break;
        }
        path = path.empty() ? g->name : g->name + " / " + path;
        current = g->parentId;
    }
    return path;
}

}  // namespace wordloom::cli
