#pragma once

namespace wordloom::cli {

class CommandRegistry;

/// "start": runs Wordloom in the foreground with expansion on.
void registerStartCommand(CommandRegistry& registry);

}  // namespace wordloom::cli
