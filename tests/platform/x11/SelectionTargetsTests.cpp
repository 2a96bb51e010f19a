#include <gtest/gtest.h>

#include "platform/x11/X11Pasteboard.h"
#include "platform/x11/X11SelectionReader.h"

namespace wordloom {
namespace {

std::vector<std::string> typesOf(const std::vector<SelectionTarget>& targets) {
    std::vector<std::string> types;
    for (const auto& target : targets) {
        types.push_back(target.type);
    }
    return types;
}

TEST(SelectionTargetsTests, OnlyFormatsWorthRestoringAreReadTextFirstAndOneImage) {
    // What a browser offers for a copied image next to its address.
    const std::vector<std::string> browser = {
        "TIMESTAMP", "TARGETS",    "MULTIPLE",   "SAVE_TARGETS", "image/bmp",
        "image/png", "image/jpeg", "image/tiff", "text/html",    "UTF8_STRING",
        "STRING",    "TEXT",       "text/plain", "text/plain",   "application/x-custom"};
    EXPECT_EQ(
        typesOf(targetsWorthRestoring(browser)),
        (std::vector<std::string>{"text/html", "text/plain", "application/x-custom", "image/png"}));

    // Without PNG the first image type offered is kept.
    EXPECT_EQ(typesOf(targetsWorthRestoring({"image/gif", "image/jpeg"})),
              (std::vector<std::string>{"image/gif"}));
}

TEST(SelectionTargetsTests, XTextNamesStandInOnlyWhenNoMimeTextIsOffered) {
    const auto utf8 = targetsWorthRestoring({"TARGETS", "UTF8_STRING", "STRING"});
    ASSERT_EQ(utf8.size(), 1u);
    EXPECT_EQ(utf8[0], (SelectionTarget{"UTF8_STRING", pasteboardType::plainTextUtf8}));
    EXPECT_EQ(targetsWorthRestoring({"STRING"}),
              (std::vector<SelectionTarget>{{"STRING", pasteboardType::plainText}}));
    EXPECT_TRUE(targetsWorthRestoring({"TARGETS", "TIMESTAMP"}).empty());

    EXPECT_EQ(plainTextTarget({"STRING", "UTF8_STRING"})->target, "UTF8_STRING");
    EXPECT_EQ(plainTextTarget({"text/plain", "STRING"})->target, "text/plain");
    EXPECT_FALSE(plainTextTarget({"image/png"}));
}

TEST(SelectionTargetsTests, TheReadTrackerNeverPairsANewReadWithAnOldTime) {
    X11Pasteboard::ReadTracker tracker;
    EXPECT_FALSE(tracker.lastRead());
    tracker.noteRead(100);
    EXPECT_EQ(tracker.lastRead(), 100);
    // A new write: the previous paste's read must not count for the next one.
    tracker.reset();
    EXPECT_FALSE(tracker.lastRead());
    tracker.noteRead(200);
    EXPECT_EQ(tracker.lastRead(), 200);
}

TEST(SelectionTargetsTests, EveryRequestOfAPasteKeepsItGoingOnceAFormatWasRead) {
    X11Pasteboard::ReadTracker tracker;
    // Asking for the list of formats alone is no paste yet: the wait goes on for a format.
    tracker.noteRequest(100);
    EXPECT_FALSE(tracker.lastRead());
    tracker.noteRead(150);
    EXPECT_EQ(tracker.lastRead(), 150);
    // The paster asks for the list again before inserting: its paste is not over.
    tracker.noteRequest(400);
    EXPECT_EQ(tracker.lastRead(), 400);
    tracker.reset();
    tracker.noteRequest(500);
    EXPECT_FALSE(tracker.lastRead());
}

}  // namespace
}  // namespace wordloom
