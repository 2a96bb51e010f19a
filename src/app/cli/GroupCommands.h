#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// group list|add|rename|remove|enable|disable.
void registerGroupCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
