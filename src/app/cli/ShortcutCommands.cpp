#include "app/cli/ShortcutCommands.h"

#include <ostream>

#include "app/cli/CommandErrors.h"
#include "app/cli/LibraryCommandSupport.h"
#include "core/triggers/ShortcutValidator.h"
#include "platform/x11/DesktopShortcutBindings.h"

namespace wordloom::cli {
namespace {

int shortcutCommand(CommandInvocation& invocation) {
    const auto arguments = invocation.parse({});
    if (arguments.positionals().empty() || arguments.positionals()[0] != "check") {
        throw UsageError(arguments.positionals().empty()
                             ? "missing action"
                             : "unknown action \u201c" + arguments.positionals()[0] + "\u201d");
    }
    expectPositionals(arguments, 2);
    const auto parsed = parseShortcut(arguments.positionals()[1]);
    if (!parsed) {
        throw UsageError(
            "write the shortcut as the desktop does (\u201cSuper+Shift+T\u201d) or "
            "as the settings take it (\u201ct+0x120000\u201d)");
    }
    const ShortcutValidator validator(
        ShortcutPlatform::linuxDesktop(readDesktopShortcutBindings()));
    if (const auto message = validator.validate(parsed->first, parsed->second)) {
        invocation.out() << *message << "\n";
        return 1;
    }
    invocation.out() << "accepted\n";
    return 0;
}

}  // namespace

void registerShortcutCommands(CommandRegistry& registry) {
    registry.add(
        {"shortcut", "wordloom shortcut check SHORTCUT",
         "Say whether a key combination can be a global shortcut (\u201cSuper+Shift+T\u201d "
         "or \u201ct+0x120000\u201d), and why not.",
         shortcutCommand});
}

}  // namespace wordloom::cli
