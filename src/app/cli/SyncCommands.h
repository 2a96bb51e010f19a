#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// sync status|now|conflicts|resolve|setup|strategy|off.
void registerSyncCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
