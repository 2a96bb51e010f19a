#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// shortcut check.
void registerShortcutCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
