#pragma once

#include <vector>

#include "core/library/Snippet.h"

namespace wordloom {

/// Whether any snippet not in Recently Deleted may run a script when it expands: a JavaScript
/// snippet, or content with a {{js:...}} ({{javascript:...}}) macro. A library without one
/// never needs a script helper, so none is started for it ahead of need.
bool libraryUsesScripts(const std::vector<Snippet>& snippets);

}  // namespace wordloom
