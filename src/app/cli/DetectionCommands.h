#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// type: feeds text to an abbreviation detector over the user's library and reports what it
/// decides, keystroke by keystroke.
void registerDetectionCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
