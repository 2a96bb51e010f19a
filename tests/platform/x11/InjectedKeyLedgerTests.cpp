#include <gtest/gtest.h>

#include "platform/x11/InjectedKeyLedger.h"
#include "platform/x11/X11Support.h"

namespace wordloom {
namespace {

using std::chrono::milliseconds;

struct LedgerRig {
    std::chrono::steady_clock::time_point now{};
    InjectedKeyLedger ledger{[this] { return now; }};
};

TEST(InjectedKeyLedgerTests, EachInjectedEventIsRecognisedOnceAndOnlyAsItself) {
    LedgerRig rig;
    rig.ledger.expect(22, true);
    rig.ledger.expect(22, false);
    rig.ledger.expect(22, true);

    EXPECT_FALSE(rig.ledger.consume(38, true));  // another key: the user's
    EXPECT_TRUE(rig.ledger.consume(22, false));  // a release is matched as a release
    EXPECT_TRUE(rig.ledger.consume(22, true));
    EXPECT_TRUE(rig.ledger.consume(22, true));
    // The user pressing the same key afterwards is not taken for ours.
    EXPECT_FALSE(rig.ledger.consume(22, true));
    EXPECT_FALSE(rig.ledger.consume(22, false));
}

TEST(InjectedKeyLedgerTests, EventsTheServerNeverSentBackExpireSoTheUsersKeysAreSeenAgain) {
    LedgerRig rig;
    rig.ledger.expect(50, true);  // dropped by the server, never seen
    rig.now += InjectedKeyLedger::entryLifetime - milliseconds(1);
    rig.ledger.expect(38, true);
    rig.now += milliseconds(2);

    EXPECT_FALSE(rig.ledger.consume(50, true));  // expired: the user's Shift
    EXPECT_TRUE(rig.ledger.consume(38, true));   // still within its lifetime
}

TEST(X11SupportTests, TerminalsAreRecognisedByWindowClassInAnyLetterCase) {
    for (const char* terminal : {"XTerm", "URxvt", "Gnome-terminal", "konsole", "Alacritty",
                                 "kitty", "org.wezfurlong.wezterm", "st-256color"}) {
        EXPECT_TRUE(x11::isTerminalClass(terminal)) << terminal;
    }
    for (const char* other : {"", "Gedit", "firefox", "xterminal", "Xterm2", "st-", "term"}) {
        EXPECT_FALSE(x11::isTerminalClass(other)) << other;
    }
}

}  // namespace
}  // namespace wordloom
