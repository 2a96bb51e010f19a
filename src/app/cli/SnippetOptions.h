#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/cli/ArgumentParser.h"
#include "app/cli/CommandRegistry.h"
#include "core/library/SnippetStore.h"

namespace wordloom::cli {

/// The options `add` and `edit` share.
std::vector<OptionSpec> snippetOptionSpecs();

/// Applies the snippet options given on the command line to `snippet` (options not given leave
/// their field alone). Reads --content-file ("-" is standard input) and --image. Throws
/// UsageError for a bad value (listing what is allowed) and CommandError for an unreadable file.
void applySnippetOptions(const CommandInvocation& invocation, const ParsedArguments& arguments,
                         const SnippetStore& store, Snippet& snippet);

/// Checks what a snippet is about to become: a valid abbreviation (and pattern, for regex
/// matching), and no exact clash with another snippet unless `force`. Returns the warning for a
/// clash that differs only in letter case. Throws CommandError.
std::optional<std::string> checkSnippetBeforeSaving(const SnippetStore& store,
                                                    const Snippet& snippet, bool force);

}  // namespace wordloom::cli
