// Reading the clipboard from owners that misbehave: written against Xlib, so that they can.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "platform/x11/X11Pasteboard.h"

// Xlib after Qt.
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <poll.h>

namespace wordloom {
namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

/// Another program that owns CLIPBOARD, offering "text/plain" and a large
/// "application/x-large". What it does with requests for them depends on `behaviour`.
class MisbehavingOwner {
  public:
    enum class Behaviour {
        /// Answers TARGETS, then nothing ever again.
        silentAfterTargets,
        /// Serves the text, and `largeBytes` incrementally, announcing the size (or, when
        /// `announceSize` is false, announcing none and sending it anyway).
        servesLarge,
    };

    MisbehavingOwner(Behaviour behaviour, std::size_t largeBytes, bool announceSize)
        : behaviour_(behaviour), largeBytes_(largeBytes), announceSize_(announceSize) {
        std::promise<void> owning;
        auto owningFuture = owning.get_future();
        thread_ = std::thread([this, &owning] { serve(owning); });
        owningFuture.wait();
    }
    ~MisbehavingOwner() {
        stop_.store(true);
        thread_.join();
    }

    std::size_t largeBytesSent() const { return sent_.load(); }

  private:
    void serve(std::promise<void>& owning) {
        Display* display = XOpenDisplay(nullptr);
        const Window window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 1, 1, 0, 0, 0);
        const Atom clipboard = XInternAtom(display, "CLIPBOARD", False);
        const Atom targets = XInternAtom(display, "TARGETS", False);
        const Atom text = XInternAtom(display, "text/plain", False);
        const Atom large = XInternAtom(display, "application/x-large", False);
        const Atom incremental = XInternAtom(display, "INCR", False);
        XSetSelectionOwner(display, clipboard, window, CurrentTime);
        XSync(display, False);
        owning.set_value();

        const std::string chunk(256 * 1024, 'x');
        Window requestor = 0;
        Atom property = 0;
        bool transferring = false;
        while (!stop_.load()) {
            if (XPending(display) == 0) {
                pollfd descriptor{ConnectionNumber(display), POLLIN, 0};
                poll(&descriptor, 1, 20);
                continue;
            }
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == SelectionRequest) {
                const auto& request = event.xselectionrequest;
                XSelectionEvent reply{};
                reply.type = SelectionNotify;
                reply.requestor = request.requestor;
                reply.selection = request.selection;
                reply.target = request.target;
                reply.time = request.time;
                reply.property = request.property;
                if (request.target == targets) {
                    const Atom offered[] = {targets, text, large};
                    XChangeProperty(display, request.requestor, request.property, XA_ATOM, 32,
                                    PropModeReplace,
                                    reinterpret_cast<const unsigned char*>(offered), 3);
                } else if (behaviour_ == Behaviour::silentAfterTargets) {
                    continue;
                } else if (request.target == text) {
                    XChangeProperty(display, request.requestor, request.property, text, 8,
                                    PropModeReplace,
                                    reinterpret_cast<const unsigned char*>("small"), 5);
                } else if (request.target == large) {
                    const long announced = announceSize_ ? static_cast<long>(largeBytes_) : 0;
                    XSelectInput(display, request.requestor, PropertyChangeMask);
                    XChangeProperty(display, request.requestor, request.property, incremental, 32,
                                    PropModeReplace,
                                    reinterpret_cast<const unsigned char*>(&announced), 1);
                    requestor = request.requestor;
                    property = request.property;
                    transferring = true;
                } else {
                    reply.property = None;
                }
                XSendEvent(display, request.requestor, False, 0, reinterpret_cast<XEvent*>(&reply));
                XFlush(display);
            } else if (event.type == PropertyNotify && transferring &&
                       event.xproperty.window == requestor && event.xproperty.atom == property &&
                       event.xproperty.state == PropertyDelete) {
                // The reader took the last piece: send the next, or the empty end.
                const std::size_t left = largeBytes_ - sent_.load();
                const std::size_t size = std::min(left, chunk.size());
                XChangeProperty(display, requestor, property, large, 8, PropModeReplace,
                                reinterpret_cast<const unsigned char*>(chunk.data()),
                                static_cast<int>(size));
                XFlush(display);
                sent_.fetch_add(size);
                transferring = size > 0;
            }
        }
        XDestroyWindow(display, window);
        XCloseDisplay(display);
    }

    Behaviour behaviour_;
    std::size_t largeBytes_;
    bool announceSize_;
    std::atomic<bool> stop_{false};
    std::atomic<std::size_t> sent_{0};
    std::thread thread_;
};

std::optional<std::string> find(const PasteboardSnapshot& snapshot, const std::string& type) {
    for (const auto& item : snapshot) {
        if (item.type == type) {
            return item.data;
        }
    }
    return std::nullopt;
}

constexpr std::size_t twoHundredMegabytes = 200u * 1024 * 1024;
// The read's own deadline, and what a loaded machine may add to it.
constexpr auto readLimit = X11SelectionReader::Limits{}.deadline + milliseconds(1000);

TEST(SelectionReaderServerTests, AnOwnerThatAnswersTargetsThenStopsCostsOnlyTheDeadline) {
    X11Pasteboard pasteboard;
    MisbehavingOwner owner(MisbehavingOwner::Behaviour::silentAfterTargets, 0, true);
    const auto started = SteadyClock::now();
    EXPECT_EQ(pasteboard.snapshot(PasteboardSelection::clipboard), std::nullopt);
    EXPECT_EQ(pasteboard.plainText(), std::nullopt);
    EXPECT_LT(SteadyClock::now() - started, 2 * readLimit);
}

TEST(SelectionReaderServerTests, TwoHundredMegabytesOverIncrAreNeverTransferred) {
    X11Pasteboard pasteboard;
    MisbehavingOwner owner(MisbehavingOwner::Behaviour::servesLarge, twoHundredMegabytes, true);
    const auto started = SteadyClock::now();
    const auto snapshot = pasteboard.snapshot(PasteboardSelection::clipboard);
    EXPECT_LT(SteadyClock::now() - started, readLimit);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(find(*snapshot, "text/plain"), "small");
    EXPECT_FALSE(find(*snapshot, "application/x-large"));
    // Announced above the cap: not one byte of it was asked for.
    EXPECT_EQ(owner.largeBytesSent(), 0u);
}

TEST(SelectionReaderServerTests, AnUnannouncedTwoHundredMegabytesAreCutOffAtTheCap) {
    X11Pasteboard pasteboard;
    MisbehavingOwner owner(MisbehavingOwner::Behaviour::servesLarge, twoHundredMegabytes, false);
    const auto started = SteadyClock::now();
    const auto snapshot = pasteboard.snapshot(PasteboardSelection::clipboard);
    EXPECT_LT(SteadyClock::now() - started, readLimit);
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(find(*snapshot, "text/plain"), "small");
    EXPECT_FALSE(find(*snapshot, "application/x-large"));
    // At most one piece past the cap was sent before the reader stopped taking them.
    EXPECT_LE(owner.largeBytesSent(), X11SelectionReader::Limits{}.byteCap + 256 * 1024);
}

TEST(SelectionReaderServerTests, OurOwnContentsAreReadFromAnyThreadWhileTheMainThreadWaits) {
    X11Pasteboard pasteboard;
    pasteboard.write(PasteboardSelection::clipboard, {{pasteboardType::plainText, "ours"}});
    // The main thread (this one) serves our selection only from its event loop, which does
    // not run while it waits here.
    auto read = std::async(std::launch::async,
                           [&] { return pasteboard.snapshot(PasteboardSelection::clipboard); });
    ASSERT_EQ(read.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    const auto snapshot = read.get();
    ASSERT_TRUE(snapshot);
    EXPECT_EQ(find(*snapshot, "text/plain"), "ours");
}

}  // namespace
}  // namespace wordloom
