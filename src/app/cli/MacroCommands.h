#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// "expand", "eval" and "parse": the macro language from the command line.
void registerMacroCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
