#pragma once

namespace wordloom::cli {

class CommandRegistry;

/// "quick-search" and "quick-create": open the running instance's panels, filled in from the
/// command line.
void registerPanelCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
