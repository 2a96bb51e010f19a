#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "app/desktop/DesktopApplication.h"
#include "app/desktop/MemoryPolicy.h"
#include "app/desktop/supervisor/ApplicationSupervisor.h"
#include "app/desktop/supervisor/InstanceLock.h"
#include "core/base/ManualExecutor.h"
#include "support/TemporaryDirectory.h"

namespace wordloom {
namespace {

using std::chrono::seconds;

std::optional<std::string> displayAnswers() {
    return std::nullopt;
}

// A child that exits with the statuses listed in `script`, one per run, and counts its runs.
struct ScriptedChild {
    explicit ScriptedChild(const std::string& statuses) {
        std::ofstream(folder / "statuses") << statuses;
    }

    std::vector<std::string> command() const {
        const auto runs = (folder / "runs").string();
        const auto statuses = (folder / "statuses").string();
        // The n-th run exits with the n-th listed status.
        return {"/bin/sh", "-c",
                "echo \"$" + std::string(supervisedApplicationVariable) + "\" >> '" + runs +
                    "'; n=$(wc -l < '" + runs + "'); exit $(cut -d' ' -f\"$n\" '" + statuses +
                    "')"};
    }

    std::vector<std::string> runs() const {
        std::ifstream stream(folder / "runs");
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    test::TemporaryDirectory folder;
};

TEST(ApplicationSupervisorTests, RunsTheMarkedApplicationAgainOnlyWhenItAsksToRestart) {
    {
        ScriptedChild child(std::to_string(restartExitStatus) + " 0");
        EXPECT_EQ(superviseApplication(child.command(), displayAnswers), 0);
        // Both runs were told they are the supervised application.
        EXPECT_EQ(child.runs(), (std::vector<std::string>{"1", "1"}));
    }
    {
        ScriptedChild child("0 0");
        EXPECT_EQ(superviseApplication(child.command(), displayAnswers), 0);
        EXPECT_EQ(child.runs().size(), 1u);
    }
}

TEST(ApplicationSupervisorTests, GivesUpWhenTheApplicationCannotBeRun) {
    test::TemporaryDirectory folder;
    EXPECT_EQ(superviseApplication({(folder / "missing").string()}, displayAnswers), 1);
    EXPECT_EQ(superviseApplication({}, displayAnswers), 1);
}

TEST(InstanceLockTests, ASecondInstanceIsRefusedAndToldWhoHoldsTheLock) {
    test::TemporaryDirectory runtime;
    const char* previous = std::getenv("XDG_RUNTIME_DIR");
    const std::string saved = previous ? previous : "";
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);

    {
        const InstanceLock first(":7");
        ASSERT_TRUE(first.acquired());
        const InstanceLock second(":7");
        EXPECT_FALSE(second.acquired());
        EXPECT_EQ(second.holder(), static_cast<long>(getpid()));
        EXPECT_EQ(second.alreadyRunningMessage(),
                  "Wordloom is already running (process " + std::to_string(getpid()) + ").");
        // Another display is another session.
        EXPECT_TRUE(InstanceLock(":8").acquired());
    }
    EXPECT_TRUE(InstanceLock(":7").acquired());  // released with its holder

    if (previous) {
        setenv("XDG_RUNTIME_DIR", saved.c_str(), 1);
    } else {
        unsetenv("XDG_RUNTIME_DIR");
    }
}

TEST(MemoryTrimmerTests, ReleasesOnceAfterTheLastBurstHasBeenQuietLongEnough) {
    ManualExecutor executor;
    int releases = 0;
    MemoryTrimmer trimmer(executor, seconds(5), [&] { ++releases; });

    trimmer.schedule();
    executor.advance(seconds(3));
    trimmer.schedule();  // another change before the first release: it waits again
    executor.advance(seconds(3));
    EXPECT_EQ(releases, 0);
    executor.advance(seconds(2));
    EXPECT_EQ(releases, 1);
    executor.advance(seconds(60));
    EXPECT_EQ(releases, 1);
}

TEST(MemoryTrimmerTests, NothingRunsAfterTheTrimmerIsGone) {
    ManualExecutor executor;
    int releases = 0;
    {
        MemoryTrimmer trimmer(executor, seconds(5), [&] { ++releases; });
        trimmer.schedule();
    }
    executor.advance(seconds(10));
    EXPECT_EQ(releases, 0);
}

}  // namespace
}  // namespace wordloom
