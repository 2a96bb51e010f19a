#pragma once

namespace wordloom::cli {

class CommandRegistry;

/// "library": brings the running instance's library window forward, a snippet chosen.
void registerLibraryWindowCommand(CommandRegistry& registry);

}  // namespace wordloom::cli
