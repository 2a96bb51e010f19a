"""What the shell's end-to-end tests and the screenshot script share: a private desktop with a
system tray (trayer, an XEmbed tray), a way to find and click the tray icon, keys with modifiers, and
photographs of the screen.
Run with /usr/bin/python3 (it has the GTK and AT-SPI bindings)."""

import os
import re
import subprocess
import time

from harness import wait_for

TRAY_HEIGHT = 28


def start_tray(desktop):
    """Starts trayer along the top right of the screen and waits until it holds the tray
    selection."""
    process = desktop.spawn(["trayer", "--edge", "top", "--align", "right", "--widthtype",
                             "request", "--height", str(TRAY_HEIGHT), "--transparent", "false",
                             "--tint", "0x2e3440", "--SetDockType", "true", "--expand", "false"])
    wait_for(lambda: tray_owner(desktop), timeout=20, what="the system tray")
    return process


def tray_owner(desktop):
    # trayer's panel window is there once it has taken the tray selection.
    return '"panel": ("panel" "trayer")' in window_tree(desktop)


def window_tree(desktop):
    return subprocess.run(["xwininfo", "-root", "-tree"], env=desktop.env,
                          capture_output=True, text=True).stdout


def tray_icon_geometry(desktop):
    """(x, y, width, height) of Wordloom's icon inside the tray, or None."""
    for line in window_tree(desktop).splitlines():
        if '("wordloom" "Wordloom")' in line:
            match = re.search(r"(\d+)x(\d+)[+-]-?\d+[+-]-?\d+\s+\+(-?\d+)\+(-?\d+)", line)
            if match:
                width, height, x, y = (int(value) for value in match.groups())
                if width <= 64 and height <= 64:
                    return x, y, width, height
    return None


def move_pointer(desktop, x, y):
    subprocess.run(["/usr/bin/python3", "-c",
                    "import ctypes,sys;x=ctypes.CDLL('libX11.so.6');t=ctypes.CDLL('libXtst.so.6');"
                    "x.XOpenDisplay.restype=ctypes.c_void_p;d=x.XOpenDisplay(None);"
                    "t.XTestFakeMotionEvent(ctypes.c_void_p(d),-1,int(sys.argv[1]),int(sys.argv[2]),0);"
                    "x.XSync(ctypes.c_void_p(d),0)", str(x), str(y)],
                   env=desktop.env, check=True, timeout=10)


def screenshot(desktop, path, box=None):
    """Saves the screen, or the (x, y, width, height) part of it, as a PNG."""
    script = ("import gi,sys;gi.require_version('Gdk','3.0');from gi.repository import Gdk;"
              "r=Gdk.get_default_root_window();a=[int(v) for v in sys.argv[2:]];"
              "x,y,w,h=a if a else (0,0,r.get_width(),r.get_height());"
              "Gdk.pixbuf_get_from_window(r,x,y,w,h).savev(sys.argv[1],'png',[],[])")
    arguments = ["/usr/bin/python3", "-c", script, path]
    if box:
        arguments += [str(value) for value in box]
    subprocess.run(arguments, env=desktop.env, check=True, timeout=30)


def window_geometry(desktop, name):
    """(x, y, width, height) of the top-level window titled `name`, or None."""
    result = subprocess.run(["xwininfo", "-name", name], env=desktop.env, capture_output=True,
                            text=True)
    values = {}
    for line in result.stdout.splitlines():
        key, _, value = line.strip().partition(":")
        values[key] = value.strip()
    try:
        return (int(values["Absolute upper-left X"]), int(values["Absolute upper-left Y"]),
                int(values["Width"]), int(values["Height"]))
    except (KeyError, ValueError):
        return None


def press(typist, name, alt=False, control=False):
    """A key with Alt and/or Control held, through XTest."""
    display = typist.display
    held = []
    for modifier, wanted in (("Alt_L", alt), ("Control_L", control)):
        if wanted:
            code = typist.x11.XKeysymToKeycode(display, typist.x11.XStringToKeysym(modifier.encode()))
            typist.xtst.XTestFakeKeyEvent(display, code, 1, 0)
            held.append(code)
    typist.key(name)
    for code in reversed(held):
        typist.xtst.XTestFakeKeyEvent(display, code, 0, 0)
    typist.x11.XSync(display, 0)


def open_tray_menu(desktop, typist, read_log):
    """Right-clicks Wordloom's tray icon until its menu says it opened."""
    x, y, width, height = wait_for(lambda: tray_icon_geometry(desktop), timeout=20,
                                   what="the tray icon")
    for attempt in range(5):
        before = read_log().count("Tray menu opened")
        move_pointer(desktop, x + width // 2, y + height // 2)
        typist.click(3)
        try:
            wait_for(lambda: read_log().count("Tray menu opened") > before, timeout=3,
                     what="the tray menu")
            time.sleep(0.5)  # the menu takes the keyboard once it is mapped
            return
        except TimeoutError:
            continue
    raise TimeoutError("the tray menu never opened")


def accessible_text(desktop, name, application="wordloom"):
    """The text of our field named `name`, read through AT-SPI, or None."""
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "atspi_text.py")
    result = subprocess.run(["/usr/bin/python3", script, application, name], env=desktop.env,
                            capture_output=True, text=True, timeout=30)
    return result.stdout if result.returncode == 0 else None
