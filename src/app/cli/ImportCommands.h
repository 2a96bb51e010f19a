#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// import.
void registerImportCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
