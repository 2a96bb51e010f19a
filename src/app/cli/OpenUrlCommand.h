#pragma once

#include "app/cli/CommandRegistry.h"

namespace wordloom::cli {

/// open-url [--dry-run] [--json] URL|-.
void registerOpenUrlCommand(CommandRegistry& registry);

}  // namespace wordloom::cli
