#include "app/cli/StartCommand.h"

#include <cstdlib>
#include <filesystem>
#include <ostream>

#include "app/cli/CommandRegistry.h"
#include "app/cli/LibrarySession.h"
#include "app/desktop/DesktopSupervisor.h"
#include "core/base/FileIO.h"

namespace wordloom::cli {

void registerStartCommand(CommandRegistry& registry) {
    registry.add({"start", "wordloom start [--data-dir DIR]",
                  "Run Wordloom in the foreground: snippets expand as you type in any application.",
                  [](CommandInvocation& invocation) {
                      const auto arguments = invocation.parse({});
                      const auto location = LibraryLocation::resolve(invocation, arguments);
                      try {
                          ensurePrivateFolder(location.dataFolder);
                      } catch (const FileError&) {
                          // The application reports it when it opens the library.
                      }
                      if (invocation.environment(supervisedApplicationVariable)) {
                          return runSupervisedDesktopApplication(
                              {location.dataFolder, location.configFolder}, "wordloom");
                      }
                      const auto display = invocation.environment("DISPLAY").value_or("");
                      InstanceLock lock(display);
                      if (!lock.acquired()) {
                          invocation.err() << lock.alreadyRunningMessage() << "\n";
                          return 1;
                      }
                      return superviseDesktopApplication();
                  }});
}

}  // namespace wordloom::cli
