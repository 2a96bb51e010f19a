#pragma once

#include "core/triggers/URLSchemeHandler.h"

namespace wordloom {

class SettingsStore;
class SnippetStore;

/// Whether the snippet and every group above it are enabled: a link may not expand what the
/// user switched off, directly or through its group.
bool enabledWithGroups(const SnippetStore& store, const Snippet& snippet);

/// Gives `actions` what a link reads from the library: the setting that allows expansion, the
/// lookups by abbreviation and id, the enabled check, and the snippet's evaluation with the
/// link's inline arguments. Both stores must outlive the handler.
void readLibraryForLinks(URLSchemeHandler::Actions& actions, const SnippetStore& snippets,
                         const SettingsStore& settings);

}  // namespace wordloom
