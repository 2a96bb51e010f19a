#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// list, show, add, edit, remove, undelete, empty-trash, duplicate.
void registerLibraryCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
