// The inserter on real threads: a main queue on a thread of its own, the insertion on the test
// thread, hops through the real gate, and a clipboard that is slow or fails.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "InserterTestRig.h"
#include "core/base/EventLoopExecutor.h"
#include "core/expansion/InsertionPlan.h"

namespace wordloom {
namespace {

using std::chrono::milliseconds;

/// The fake pasteboard behind a lock, with reads that take `readDelay` and writes that throw
/// when `writesFail`. Each read also asks the main queue to handle a key, and notes whether it
/// did so while the read was still going.
class SlowPasteboard final : public Pasteboard {
  public:
    SlowPasteboard(FakePasteboard& inner, Executor& mainQueue)
        : inner_(inner), mainQueue_(mainQueue) {}

    std::uint64_t changeCount(PasteboardSelection selection) override {
        std::lock_guard lock(mutex_);
        return inner_.changeCount(selection);
    }
    std::optional<PasteboardSnapshot> snapshot(PasteboardSelection selection) override {
        if (probeMainQueue) {
            auto keyHandled = std::make_shared<std::promise<void>>();
            auto handled = keyHandled->get_future();
            mainQueue_.post([keyHandled] { keyHandled->set_value(); });
            if (handled.wait_for(std::chrono::seconds(5)) == std::future_status::ready) {
                keysHandledDuringReads.fetch_add(1);
            }
        }
        std::this_thread::sleep_for(readDelay);
        std::lock_guard lock(mutex_);
        return inner_.snapshot(selection);
    }
    std::uint64_t write(PasteboardSelection selection,
                        const std::vector<PasteboardItem>& items) override {
        std::lock_guard lock(mutex_);
        if (writesFail) {
            throw std::runtime_error("the display went away");
        }
        return inner_.write(selection, items);
    }
    std::optional<std::string> plainText() override {
        std::lock_guard lock(mutex_);
        return inner_.plainText();
    }
    void waitUntilRead(Duration, Duration) override {}

    Duration readDelay = milliseconds(300);
    bool writesFail = false;
    bool probeMainQueue = true;
    std::atomic<int> keysHandledDuringReads{0};

  private:
    std::mutex mutex_;
    FakePasteboard& inner_;
    Executor& mainQueue_;
};

struct ThreadedRig {
    ThreadedRig() {
        main = std::thread([this] { executor.run(); });
        // The hop belongs to the main queue's thread.
        std::promise<void> made;
        executor.post([&] {
            hop = std::make_unique<ExecutorMainQueueHop>(executor);
            made.set_value();
        });
        made.get_future().wait();
        inserter = std::make_unique<TextInserter>(pasteboard, keys, accessibility, *hop, sleeper);
    }
    ~ThreadedRig() {
        executor.stop();
        main.join();
    }

    EventLoopExecutor executor{1};
    std::thread main;
    FakeTextField field{"Hi ;sig"};
    FakePasteboard shared;
    SlowPasteboard pasteboard{shared, executor};
    FakeKeyInjector keys{field, shared};
    test::CaretAccessibility accessibility{field};
    ThreadSleeper sleeper;
    std::unique_ptr<ExecutorMainQueueHop> hop;
    std::unique_ptr<TextInserter> inserter;
};

InsertionPlan replacing(std::string_view text, std::size_t erase) {
    auto plan = InsertionPlan::cut(text, {});
    plan.charactersToDelete = erase;
    return plan;
}

TEST(TextInserterThreadTests, ASlowClipboardDelaysOnlyTheInsertionNeverTheMainQueue) {
    ThreadedRig rig;
    rig.shared.copyFromUser(PasteboardSelection::clipboard, {{"text/plain", "user text"}});
    ASSERT_TRUE(rig.inserter->insert(replacing("Best regards", 4)));
    EXPECT_EQ(rig.field.text(), "Hi Best regards");
    EXPECT_EQ(rig.shared.textOf(PasteboardSelection::clipboard), "user text");
    // The key posted while the clipboard was being read was handled before the read ended.
    EXPECT_EQ(rig.pasteboard.keysHandledDuringReads.load(), 1);
}

TEST(TextInserterThreadTests, AFailingClipboardChangesNothingAndPastesNothing) {
    ThreadedRig rig;
    rig.shared.copyFromUser(PasteboardSelection::clipboard, {{"text/plain", "user text"}});
    rig.pasteboard.readDelay = milliseconds(0);
    rig.pasteboard.writesFail = true;
    EXPECT_FALSE(rig.inserter->insert(replacing("Best regards", 4)));
    EXPECT_EQ(rig.field.text(), "Hi ;sig");
    EXPECT_EQ(rig.shared.textOf(PasteboardSelection::clipboard), "user text");
    EXPECT_EQ(std::count(rig.keys.events().begin(), rig.keys.events().end(), "paste down"), 0);
}

TEST(TextInserterThreadTests, AClosedHopEndsTheInsertionAtOnceInsteadOfWaitingOutItsLimit) {
    ThreadedRig rig;
    rig.pasteboard.readDelay = milliseconds(0);
    rig.pasteboard.probeMainQueue = false;
    std::promise<void> blockMain;
    auto blocked = blockMain.get_future().share();
    rig.executor.post([blocked] { blocked.wait(); });  // the main queue stops answering
    rig.hop->close();
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(rig.inserter->insert(replacing("Best regards", 4)));
    EXPECT_LT(std::chrono::steady_clock::now() - started, milliseconds(400));
    EXPECT_EQ(rig.field.text(), "Hi ;sig");
    blockMain.set_value();
}

}  // namespace
}  // namespace wordloom
