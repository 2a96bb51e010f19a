#include "app/cli/VersionCommands.h"

#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/base/Iso8601.h"
#include "core/base/JsonWriter.h"
#include "core/library/LibraryCoding.h"

namespace wordloom::cli {
namespace {

using Kind = OptionSpec::Kind;

int restoreVersion(CommandInvocation& invocation, const ParsedArguments& arguments) {
    const auto& reference = arguments.positionals()[1];
    const auto versionId = Uuid::parse(reference);
    if (!versionId) {
        throw UsageError("\u201c" + reference + "\u201d is not a version id");
    }
    auto session = openLibrary(invocation, arguments);
    session->requireWritableLibrary();
    const auto version = session->versions().version(*versionId);
    if (!version) {
        throw CommandError("No version has the id " + versionId->toString() + ".");
    }
    auto& store = session->snippets();
    if (!store.snippet(version->snippetId)) {
        throw CommandError("The snippet of this version no longer exists.");
    }
    store.restoreVersion(*version);
    session->save();
    invocation.out() << "Restored \u201c" << store.snippet(version->snippetId)->displayName()
                     << "\u201d to its state of " << formatIso8601(version->savedAt) << ".\n";
    return 0;
}

int versionsCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({{"json", Kind::flag}});
    const auto& positionals = arguments.positionals();
    if (positionals.size() == 2 && positionals[0] == "restore") {
        if (arguments.has("json")) {
            throw UsageError("--json is for listing versions");
        }
        return restoreVersion(invocation, arguments);
    }
    expectPositionals(arguments, 1);
    auto session = openLibrary(invocation, arguments);
    const auto& snippet = resolveSnippet(session->snippets(), positionals[0], SnippetScope::any);
    const auto versions = session->versions().versions(snippet.id);
    if (arguments.has("json")) {
        JsonWriter w;
        w.beginArray();
        for (const auto& version : versions) {
            encodeSnippetVersion(w, version);
        }
        w.endArray();
        invocation.out() << w.take() << "\n";
        return 0;
    }
    if (versions.empty()) {
        invocation.out() << "No earlier versions of \u201c" << snippet.displayName() << "\u201d.\n";
        return 0;
    }
    for (const auto& version : versions) {
        invocation.out() << version.id.toString() << "  " << formatIso8601(version.savedAt) << "  "
                         << version.abbreviation << "  " << version.label;
        if (version.changeDescription) {
            invocation.out() << "  (" << *version.changeDescription << ")";
        }
        invocation.out() << "\n";
    }
    return 0;
}

}  // namespace

void registerVersionCommands(CommandRegistry& registry) {
    registry.add({"versions",
                  "wordloom versions ID|ABBREVIATION [--json] | wordloom versions restore "
                  "VERSION_ID",
                  "List a snippet's earlier versions, newest first, or restore one.",
                  versionsCommand});
}

}  // namespace wordloom::cli
