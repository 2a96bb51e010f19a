#pragma once

namespace wordloom::cli {

class CommandRegistry;

/// "expand-now" and "copy": ask the running instance to expand a snippet at the caret of the
/// focused window, or to put its expansion on the clipboard.
void registerRequestCommands(CommandRegistry& registry);

}  // namespace wordloom::cli
