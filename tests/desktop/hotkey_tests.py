"""Global shortcuts: a snippet's hotkey expands it in the focused window, the quick search
shortcut opens quick search, and a combination another program holds is reported."""

import ctypes
import os
import subprocess

from harness import wait_for
from run_desktop_tests import OPTIONS, DesktopTestCase, Wordloom, read
from shell_driver import window_geometry

# Held by another client for the whole test: X refuses a second grab of it.
GRABBER = r"""
import ctypes, sys, time
x11 = ctypes.CDLL("libX11.so.6")
x11.XOpenDisplay.restype = ctypes.c_void_p
x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
x11.XDefaultRootWindow.restype = ctypes.c_ulong
x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
x11.XStringToKeysym.restype = ctypes.c_ulong
x11.XStringToKeysym.argtypes = [ctypes.c_char_p]
x11.XKeysymToKeycode.restype = ctypes.c_ubyte
x11.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x11.XGrabKey.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_uint, ctypes.c_ulong,
                         ctypes.c_int, ctypes.c_int, ctypes.c_int]
display = x11.XOpenDisplay(None)
root = x11.XDefaultRootWindow(display)
code = x11.XKeysymToKeycode(display, x11.XStringToKeysym(b"k"))
for lock in (0, 2, 16, 18):
    x11.XGrabKey(display, code, 4 | 8 | lock, root, 0, 1, 1)  # Ctrl+Alt+K
x11.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
x11.XSync(display, 0)
open(sys.argv[1], "w").write("grabbed")
time.sleep(600)
"""


def press_combination(typist, *names):
    """Holds the keys in order, then lets go of them in reverse."""
    display = typist.display
    codes = [typist.x11.XKeysymToKeycode(display, typist.x11.XStringToKeysym(name.encode()))
             for name in names]
    for code in codes:
        typist.xtst.XTestFakeKeyEvent(display, code, 1, 0)
        typist.x11.XSync(display, 0)
    for code in reversed(codes):
        typist.xtst.XTestFakeKeyEvent(display, code, 0, 0)
    typist.x11.XSync(display, 0)


class HotkeyTests(DesktopTestCase):
    snippets = []

    def setUp(self):
        from harness import Desktop
        self.desktop = Desktop()
        self.addCleanup(self.desktop.close)
        marker = os.path.join(self.desktop.folder, "grabbed")
        self.desktop.spawn(["/usr/bin/python3", "-c", GRABBER, marker])
        wait_for(lambda: read(marker) == "grabbed", what="the other program's grab")
        data = os.path.join(self.desktop.folder, "library")
        for arguments in (
                ["add", "--abbreviation", ";hk", "--content", "Typed by a hotkey",
                 "--hotkey", "Super+Shift+Y"],
                ["add", "--abbreviation", ";taken", "--content", "never",
                 "--hotkey", "Ctrl+Alt+K"]):
            subprocess.run([OPTIONS.wordloom, "--data-dir", data, *arguments],
                           env=self.desktop.env, check=True, capture_output=True)
        self.wordloom = Wordloom(self.desktop, [])
        self.typist = self.desktop.typist()
        self.addCleanup(self.typist.close)
        wait_for(lambda: "global shortcut" in (read(self.wordloom.log) or ""), timeout=30,
                 what="the global shortcuts to be held")

    def test_a_snippet_hotkey_expands_into_the_focused_window(self):
        path, _ = self.open_gtk()
        press_combination(self.typist, "Super_L", "Shift_L", "y")
        self.expect_text(path, "Typed by a hotkey")

    def test_the_search_shortcut_opens_quick_search(self):
        self.open_gtk()
        press_combination(self.typist, "Super_L", "Shift_L", "t")
        wait_for(lambda: window_geometry(self.desktop, "Wordloom Quick Search"), timeout=20,
                 what="the quick search panel")
        self.typist.key("Escape")

    def test_a_combination_another_program_holds_is_reported(self):
        self.assertIn("Ctrl+Alt+K (the shortcut of \u201c;taken\u201d) is taken by another "
                      "program", read(self.wordloom.log))
