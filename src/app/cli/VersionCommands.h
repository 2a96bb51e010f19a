#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// versions ID|ABBREVIATION, versions restore VERSION_ID.
void registerVersionCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
