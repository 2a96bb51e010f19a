#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <random>

#include "SyncDevice.h"

namespace wordloom {
namespace {

using test::SyncDevice;

std::map<Uuid, std::string> contents(const SnippetStore& store) {
    std::map<Uuid, std::string> result;
    for (const auto& snippet : store.snippets()) {
        result[snippet.id] = snippet.abbreviation + "=" + snippet.content;
    }
    return result;
}

/// One copy is killed (SIGKILL) at a random moment while it edits its library and syncs. After
/// it starts again and syncs, the other copy must hold exactly what it holds: no change lost
/// between the library, the journal and the folder, none applied twice.
TEST(SyncCrashTest, AKillAnywhereLosesNoChangeAndAppliesNoneTwice) {
    test::TemporaryDirectory shared;
    SyncDevice a(shared.path(), "AAAAAAAA-0000-4000-8000-000000000001");
    SyncDevice b(shared.path(), "BBBBBBBB-0000-4000-8000-000000000002");
    for (int i = 0; i < 8; ++i) {
        a.add(";s" + std::to_string(i), "start");
    }
    a.settle();
    a.syncNow();
    std::mt19937 random(20261124);
    constexpr int rounds = 300;
    int killedMidway = 0;
    for (int round = 0; round < rounds; ++round) {
        const auto seed = random();
        const auto delayMicroseconds = random() % 4000;
        if (round % 2 == 0 && !b.store->snippets().empty()) {
            // The other copy changes something too, so that the killed pass is also applying.
            const auto& theirs = b.store->snippets();
            b.edit(theirs[random() % theirs.size()].id, "b" + std::to_string(round));
            b.settle();
            b.syncNow();
        }
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::mt19937 edits(seed);
            a.restart();
            const auto& snippets = a.store->snippets();
            for (int n = 0; n < 3 && !snippets.empty(); ++n) {
                const auto id = snippets[edits() % snippets.size()].id;
                a.edit(id, "r" + std::to_string(round) + "." + std::to_string(n));
            }
            if (edits() % 3 == 0 && snippets.size() > 4) {
                a.store->deletePermanently(snippets[edits() % snippets.size()].id);
            }
            if (edits() % 2 == 0) {
                a.add(";n" + std::to_string(round), "new in round " + std::to_string(round));
            }
            a.settle();  // the library's own save
            a.syncNow();
            _exit(0);
        }
        usleep(delayMicroseconds);
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        killedMidway += WIFSIGNALED(status) ? 1 : 0;

        a.restart();
        const auto report = a.syncNow();
        ASSERT_TRUE(report.succeeded) << "round " << round << ": " << report.error;
        ASSERT_TRUE(a.sync->outboxState().isEmpty()) << "round " << round;
        b.syncNow();
        ASSERT_EQ(contents(*b.store), contents(*a.store)) << "round " << round;
        if (round % 2 == 0) {
            // The other copy's edit of this round survived, unless this copy edited the same
            // snippet later (then the later edit wins, as the strategy says).
        }
        ASSERT_TRUE(b.sync->outboxState().isEmpty()) << "round " << round;
    }
    // Most rounds must really have been cut short, or the test proves little.
    EXPECT_GT(killedMidway, rounds / 2);
}

}  // namespace
}  // namespace wordloom
