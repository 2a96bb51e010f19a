#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "app/cli/ArgumentParser.h"
#include "app/cli/CommandRegistry.h"
#include "app/cli/LibrarySession.h"

namespace wordloom::cli {

/// Opens the library the invocation points at; prints load warnings on stderr.
std::unique_ptr<LibrarySession> openLibrary(const CommandInvocation& invocation,
                                            const ParsedArguments& arguments);

/// Which snippets an ID|ABBREVIATION argument may name.
enum class SnippetScope { active, deleted, any };

/// The snippet named by `reference`: an id, else an abbreviation. Throws CommandError when none
/// matches, or when an abbreviation matches several (listing their ids).
const Snippet& resolveSnippet(const SnippetStore& store, std::string_view reference,
                              SnippetScope scope = SnippetScope::active);

/// The group named `name` (or given by id). Throws CommandError when none or several match.
const SnippetGroup& resolveGroup(const SnippetStore& store, std::string_view name);

/// Exactly `count` positionals, else UsageError naming what is missing or extra.
void expectPositionals(const ParsedArguments& arguments, std::size_t count);

/// Snippet list as snippets.json holds it.
void writeSnippetsJson(std::ostream& out, const std::vector<Snippet>& snippets);

/// The full path of a group ("Work / Mail"), or "" for no group.
std::string groupPath(const SnippetStore& store, const std::optional<Uuid>& groupId);

}  // namespace wordloom::cli
