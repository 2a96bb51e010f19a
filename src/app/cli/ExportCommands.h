#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// export.
void registerExportCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
