#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// complete abbreviations|groups: what shell completion offers.
void registerCompletionCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
