#include <gtest/gtest.h>
#include <poll.h>

#include <chrono>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "platform/x11/X11KeyHold.h"
#include "platform/x11server/PrivateXServer.h"

// Xlib last: its macros clash with everything.
#include <X11/Xlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

namespace wordloom {
namespace {

using std::chrono::milliseconds;

constexpr unsigned keyA = 38, keyB = 56, keyC = 54, shiftLeft = 50;

/// A focused window that records the key events it gets ("+38" down, "-38" up), a keyboard
/// device to type on as the user, and XTest's core keyboard to type on as Wordloom.
class KeyHoldRig {
  public:
    KeyHoldRig() {
        target_ = XOpenDisplay(nullptr);
        typist_ = XOpenDisplay(nullptr);
        window_ = XCreateSimpleWindow(target_, DefaultRootWindow(target_), 0, 0, 100, 100, 0, 0, 0);
        XSelectInput(target_, window_, KeyPressMask | KeyReleaseMask);
        XMapWindow(target_, window_);
        XSync(target_, False);
        XSetInputFocus(target_, window_, RevertToParent, CurrentTime);
        XSync(target_, False);
        int count = 0;
        XDeviceInfo* devices = XListInputDevices(typist_, &count);
        for (int i = 0; i < count; ++i) {
            if (std::strcmp(devices[i].name, "Xvfb keyboard") == 0) {
                deviceId_ = static_cast<int>(devices[i].id);
            }
        }
        XFreeDeviceList(devices);
        device_ = XOpenDevice(typist_, static_cast<XID>(deviceId_));
    }

    ~KeyHoldRig() {
        if (device_) {
            XCloseDevice(typist_, device_);
        }
        XCloseDisplay(typist_);
        XCloseDisplay(target_);
    }

    void userKey(unsigned code, bool down) {
        XTestFakeDeviceKeyEvent(typist_, device_, code, down ? True : False, nullptr, 0, 0);
        XSync(typist_, False);
    }
    void userTypes(unsigned code) {
        userKey(code, true);
        userKey(code, false);
    }
    void ourKey(unsigned code) {
        XTestFakeKeyEvent(typist_, code, True, 0);
        XTestFakeKeyEvent(typist_, code, False, 0);
        XSync(typist_, False);
    }

    /// The events the window got until `count` arrived or a second passed.
    std::vector<std::string> received(std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
        while (events_.size() < count && std::chrono::steady_clock::now() < deadline) {
            pollfd readable{ConnectionNumber(target_), POLLIN, 0};
            poll(&readable, 1, 20);
            while (XPending(target_) > 0) {
                XEvent event;
                XNextEvent(target_, &event);
                if (event.type == KeyPress || event.type == KeyRelease) {
                    events_.push_back((event.type == KeyPress ? "+" : "-") +
                                      std::to_string(event.xkey.keycode));
                }
            }
        }
        return events_;
    }

    int deviceId() const { return deviceId_; }

  private:
    Display* target_ = nullptr;
    Display* typist_ = nullptr;
    Window window_ = 0;
    int deviceId_ = -1;
    XDevice* device_ = nullptr;
    std::vector<std::string> events_;
};

TEST(X11KeyHoldTests, HeldKeysFollowOursInTheOrderTyped) {
    test::PrivateXServer server;
    KeyHoldRig rig;
    ASSERT_GE(rig.deviceId(), 0);
    X11KeyHold hold;
    ASSERT_TRUE(hold.hold(std::chrono::seconds(5)));
    EXPECT_TRUE(hold.hold(std::chrono::seconds(5)));  // already held: kept

    rig.userTypes(keyA);
    rig.userKey(shiftLeft, true);
    rig.userTypes(keyB);
    rig.userKey(shiftLeft, false);
    rig.ourKey(keyC);
    EXPECT_EQ(rig.received(2), (std::vector<std::string>{"+54", "-54"}));

    hold.release();
    EXPECT_FALSE(hold.isHolding());
    const std::vector<std::string> expected = {"+54", "-54", "+38", "-38",
                                               "+50", "+56", "-56", "-50"};
    EXPECT_EQ(rig.received(expected.size()), expected);
    EXPECT_EQ(hold.counts().keysReplayed, 6u);

    // Let go, the keyboard types straight through again.
    rig.userTypes(keyA);
    EXPECT_EQ(rig.received(expected.size() + 2).back(), "-38");
}

TEST(X11KeyHoldTests, AHoldEndsAtItsDeadlineWhateverTheInserterDoes) {
    test::PrivateXServer server;
    KeyHoldRig rig;
    X11KeyHold hold;
    ASSERT_TRUE(hold.hold(milliseconds(100)));
    rig.userTypes(keyA);
    EXPECT_EQ(rig.received(2), (std::vector<std::string>{"+38", "-38"}));
    EXPECT_FALSE(hold.isHolding());
    EXPECT_EQ(hold.counts().expired, 1u);
}

TEST(X11KeyHoldTests, NoHoldWhileAModifierIsDownOrAnotherProgramHasTheKeyboard) {
    test::PrivateXServer server;
    KeyHoldRig rig;
    X11KeyHold hold;
    rig.userKey(shiftLeft, true);
    EXPECT_FALSE(hold.hold(std::chrono::seconds(5)));
    rig.userKey(shiftLeft, false);

    Display* other = XOpenDisplay(nullptr);
    int major = 2;
    int minor = 0;
    XIQueryVersion(other, &major, &minor);
    unsigned char bits[XIMaskLen(XI_LASTEVENT)] = {};
    XIEventMask mask{rig.deviceId(), sizeof bits, bits};
    ASSERT_EQ(XIGrabDevice(other, rig.deviceId(), DefaultRootWindow(other), CurrentTime, 0,
                           XIGrabModeAsync, XIGrabModeAsync, False, &mask),
              Success);
    XSync(other, False);
    EXPECT_FALSE(hold.hold(std::chrono::seconds(5)));
    hold.release();  // nothing to let go: harmless
    XCloseDisplay(other);
    EXPECT_TRUE(hold.hold(std::chrono::seconds(5)));
}

}  // namespace
}  // namespace wordloom
