#include <gtest/gtest.h>

#include "platform/x11/X11Support.h"
// After Xlib.
#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace wordloom {
namespace {

/// A connection and top-level windows of a pretend application, gone with the rig.
struct WindowRig {
    WindowRig() { display = x11::openDisplay(&broken); }
    ~WindowRig() {
        if (display) {
            XCloseDisplay(display);
        }
    }

    Window window(const char* instance, const char* windowClass) {
        const Window window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 10, 10, 0, 0, 0);
        XClassHint hint{const_cast<char*>(instance), const_cast<char*>(windowClass)};
        XSetClassHint(display, window, &hint);
        XMapWindow(display, window);
        XSync(display, False);
        return window;
    }

    bool broken = false;
    Display* display = nullptr;
};

TEST(X11SupportServerTests, ApplicationIdPrefersGtkIdThenDesktopEntryThenClass) {
    WindowRig rig;
    ASSERT_TRUE(rig.display);
    const Window plain = rig.window("gedit", "Gedit");
    EXPECT_EQ(x11::windowClass(rig.display, plain), "Gedit");
    EXPECT_EQ(x11::applicationId(rig.display, plain), "Gedit");

    // The test's data folder has org.example.Notes.desktop with StartupWMClass=ExampleNotes.
    const Window notes = rig.window("notes", "ExampleNotes");
    EXPECT_EQ(x11::applicationId(rig.display, notes), "org.example.Notes");

    const Window gtk = rig.window("notes", "ExampleNotes");
    const std::string id = "org.example.GtkNotes";
    XChangeProperty(rig.display, gtk, XInternAtom(rig.display, "_GTK_APPLICATION_ID", False),
                    XInternAtom(rig.display, "UTF8_STRING", False), 8, PropModeReplace,
                    reinterpret_cast<const unsigned char*>(id.data()), static_cast<int>(id.size()));
    EXPECT_EQ(x11::applicationId(rig.display, gtk), id);

    const Window nameless =
        XCreateSimpleWindow(rig.display, DefaultRootWindow(rig.display), 0, 0, 5, 5, 0, 0, 0);
    EXPECT_EQ(x11::windowClass(rig.display, nameless), "");
    EXPECT_EQ(x11::applicationId(rig.display, nameless), std::nullopt);
}

TEST(X11SupportServerTests, WithoutAWindowManagerTheFocusedWindowsTopLevelIsActive) {
    WindowRig rig;
    ASSERT_TRUE(rig.display);
    const Window terminal = rig.window("xterm", "XTerm");
    // The focus sits in a child without a class, as in most toolkits' windows.
    const Window child = XCreateSimpleWindow(rig.display, terminal, 0, 0, 5, 5, 0, 0, 0);
    XMapWindow(rig.display, child);
    XSync(rig.display, False);
    XSetInputFocus(rig.display, child, RevertToParent, CurrentTime);
    XSync(rig.display, False);

    const auto active = x11::activeWindow(rig.display);
    ASSERT_TRUE(active);
    EXPECT_EQ(*active, terminal);
    EXPECT_TRUE(x11::isTerminalClass(x11::windowClass(rig.display, *active)));

    // A window manager's _NET_ACTIVE_WINDOW wins over the focus.
    const Window editor = rig.window("gedit", "Gedit");
    XChangeProperty(rig.display, DefaultRootWindow(rig.display),
                    XInternAtom(rig.display, "_NET_ACTIVE_WINDOW", False), XA_WINDOW, 32,
                    PropModeReplace, reinterpret_cast<const unsigned char*>(&editor), 1);
    XSync(rig.display, False);
    EXPECT_EQ(x11::activeWindow(rig.display), editor);
    XDeleteProperty(rig.display, DefaultRootWindow(rig.display),
                    XInternAtom(rig.display, "_NET_ACTIVE_WINDOW", False));
    XSync(rig.display, False);
}

}  // namespace
}  // namespace wordloom
