#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// settings, settings set KEY VALUE.
void registerSettingsCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
