#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// backup, restore-backup.
void registerBackupCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
