#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>

#include "LibraryTestSupport.h"
#include "core/base/FileIO.h"
#include "core/base/ManualExecutor.h"
#include "core/library/LibraryCoding.h"
#include "core/library/PersistenceService.h"
#include "support/TemporaryDirectory.h"

namespace wordloom::test {
namespace {

namespace fs = std::filesystem;

struct Library {
    std::vector<Snippet> snippets;
    std::vector<SnippetGroup> groups;
};

Library makeLibrary(int count, const std::string& flavour) {
    Library library;
    library.groups.push_back(makeGroup(flavour + " group"));
    for (int i = 0; i < count; ++i) {
        auto s =
            makeSnippet(";" + flavour + std::to_string(i), flavour + " label " + std::to_string(i),
                        std::string(400 + i, static_cast<char>('a' + i % 26)));
        s.groupId = library.groups[0].id;
        library.snippets.push_back(std::move(s));
    }
    return library;
}

// A child that saves the two libraries in turn for ever, telling the parent through `progress`
// each time it starts a save.
[[noreturn]] void saveForever(PersistenceService& persistence, const Library& a, const Library& b,
                              int progress) {
    for (;;) {
        for (const auto* library : {&b, &a}) {
            const char tick = 1;
            if (::write(progress, &tick, 1) != 1) {
                ::_exit(1);
            }
            const auto ticket = persistence.beginSave();
            persistence.saveSnippets(library->snippets, ticket);
            persistence.saveGroups(library->groups, ticket);
        }
    }
}

TEST(CrashSafety, AProcessKilledMidSaveLeavesTheOldOrTheNewLibrary) {
    TemporaryDirectory folder;
    ManualExecutor clock;
    PersistenceService persistence(folder / "data", clock);
    const auto a = makeLibrary(120, "old");
    const auto b = makeLibrary(90, "new");
    const auto snippetsA = encodeSnippetList(a.snippets);
    const auto snippetsB = encodeSnippetList(b.snippets);
    const auto groupsA = encodeGroupList(a.groups);
    const auto groupsB = encodeGroupList(b.groups);
    persistence.saveSnippets(a.snippets, persistence.beginSave());
    persistence.saveGroups(a.groups, persistence.beginSave());

    std::mt19937 random(20261121);
    constexpr int kRounds = 300;
    int sawNew = 0;
    for (int round = 0; round < kRounds; ++round) {
        int pipeFds[2];
        ASSERT_EQ(::pipe(pipeFds), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(pipeFds[0]);
            saveForever(persistence, a, b, pipeFds[1]);
        }
        ::close(pipeFds[1]);
        // Let the child get a few saves in, then stop it at a varied point within one.
        const int saves = 1 + static_cast<int>(random() % 3);
        char tick = 0;
        for (int i = 0; i < saves && ::read(pipeFds[0], &tick, 1) == 1; ++i) {
        }
        volatile unsigned spin = 0;
        for (unsigned i = random() % 400000; i > 0; --i) {
            spin = spin + 1;
        }
        ::kill(child, SIGKILL);
        int status = 0;
        ::waitpid(child, &status, 0);
        ::close(pipeFds[0]);

        const auto snippets = readFile(persistence.path(LibraryFile::snippets));
        const auto groups = readFile(persistence.path(LibraryFile::groups));
        ASSERT_TRUE(snippets == snippetsA || snippets == snippetsB) << "round " << round;
        ASSERT_TRUE(groups == groupsA || groups == groupsB) << "round " << round;
        ASSERT_NO_THROW(persistence.loadSnippets());
        sawNew += snippets == snippetsB ? 1 : 0;

        persistence.cleanUpInterruptedWork(std::chrono::seconds(0));
        for (const auto& entry : fs::directory_iterator(persistence.dataFolder())) {
            ASSERT_FALSE(isAtomicWriteLeftover(entry.path().filename().string()));
        }
    }
    // Both outcomes happen, so the kills really landed at different points of the cycle.
    EXPECT_GT(sawNew, 0);
    EXPECT_LT(sawNew, kRounds);
}

}  // namespace
}  // namespace wordloom::test
