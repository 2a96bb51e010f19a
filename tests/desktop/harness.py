"""A private desktop for end-to-end tests: Xvfb on a free display, openbox, a session D-Bus with
the AT-SPI bus (accessibility turned on), target windows, and typing through XTest.

Everything is started here and stopped in close(); nothing of the user's session is used.
Run with /usr/bin/python3 (it has the GTK bindings the target windows need)."""

import ctypes
import os
import shutil
import signal
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))


def wait_for(condition, timeout=10.0, interval=0.02, what="condition"):
    """Polls `condition` until it returns a true value; raises after `timeout` seconds."""
    deadline = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise TimeoutError("timed out waiting for " + what)
        time.sleep(interval)


class Typist:
    """Types text and presses keys with XTest, through libX11/libXtst via ctypes."""

    def __init__(self, display_name):
        self.x11 = ctypes.CDLL("libX11.so.6")
        self.xtst = ctypes.CDLL("libXtst.so.6")
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
        self.x11.XStringToKeysym.restype = ctypes.c_ulong
        self.x11.XStringToKeysym.argtypes = [ctypes.c_char_p]
        self.x11.XKeysymToKeycode.restype = ctypes.c_ubyte
        self.x11.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
        self.x11.XFlush.argtypes = [ctypes.c_void_p]
        self.x11.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
        self.x11.XCloseDisplay.argtypes = [ctypes.c_void_p]
        self.x11.XQueryKeymap.argtypes = [ctypes.c_void_p, ctypes.c_char_p]
        self.xtst.XTestFakeKeyEvent.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_int,
                                                ctypes.c_ulong]
        self.xtst.XTestFakeButtonEvent.argtypes = [ctypes.c_void_p, ctypes.c_uint, ctypes.c_int,
                                                   ctypes.c_ulong]
        self.display = self.x11.XOpenDisplay(display_name.encode())
        if not self.display:
            raise RuntimeError("cannot open " + display_name)

    NAMES = {" ": "space", "\n": "Return", "\t": "Tab", ";": "semicolon", ",": "comma",
             ".": "period", "!": "exclam", "?": "question", "<": "less", ">": "greater",
             "-": "minus", "'": "apostrophe", ":": "colon", "(": "parenleft", ")": "parenright",
             "@": "at", "/": "slash", "$": "dollar", "_": "underscore", "=": "equal",
             "|": "bar", "\"": "quotedbl", "#": "numbersign"}
    SHIFTED = set("ABCDEFGHIJKLMNOPQRSTUVWXYZ!?<>:()@$_|\"#")

    def key(self, name, shift=False, control=False):
        shift_code = self.x11.XKeysymToKeycode(self.display, self.x11.XStringToKeysym(b"Shift_L"))
        control_code = self.x11.XKeysymToKeycode(self.display,
                                                 self.x11.XStringToKeysym(b"Control_L"))
        code = self.x11.XKeysymToKeycode(self.display, self.x11.XStringToKeysym(name.encode()))
        if code == 0:
            raise ValueError("no key for " + name)
        if control:
            self.xtst.XTestFakeKeyEvent(self.display, control_code, 1, 0)
        if shift:
            self.xtst.XTestFakeKeyEvent(self.display, shift_code, 1, 0)
        self.xtst.XTestFakeKeyEvent(self.display, code, 1, 0)
        self.xtst.XTestFakeKeyEvent(self.display, code, 0, 0)
        if shift:
            self.xtst.XTestFakeKeyEvent(self.display, shift_code, 0, 0)
        if control:
            self.xtst.XTestFakeKeyEvent(self.display, control_code, 0, 0)
        self.x11.XSync(self.display, 0)

    def type(self, text, delay=0.015):
        for character in text:
            self.key(self.NAMES.get(character, character), shift=character in self.SHIFTED)
            time.sleep(delay)

    def keys_released(self):
        """Whether no key is held: Wordloom's paste chord holds Control for a moment, and a key
        typed then would be taken as a shortcut."""
        keymap = ctypes.create_string_buffer(32)
        self.x11.XQueryKeymap(self.display, keymap)
        return not any(keymap.raw)

    def wait_keys_released(self):
        wait_for(self.keys_released, what="every key to be released")

    def click(self, button=1):
        self.xtst.XTestFakeButtonEvent(self.display, button, 1, 0)
        self.xtst.XTestFakeButtonEvent(self.display, button, 0, 0)
        self.x11.XSync(self.display, 0)

    def close(self):
        if self.display:
            self.x11.XCloseDisplay(self.display)
            self.display = None


class Desktop:
    """The private session. Use as a context manager."""

    def __init__(self, with_window_manager=True):
        self.processes = []
        self.folder = tempfile.mkdtemp(prefix="wordloom-desktop-")
        self.env = dict(os.environ)
        for name in ("DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "AT_SPI_BUS_ADDRESS",
                     "XDG_RUNTIME_DIR", "WAYLAND_DISPLAY"):
            self.env.pop(name, None)
        runtime = os.path.join(self.folder, "runtime")
        os.makedirs(runtime, mode=0o700)
        self.env.update({"XDG_RUNTIME_DIR": runtime, "HOME": self.folder,
                         "XDG_CONFIG_HOME": os.path.join(self.folder, "config"),
                         "XDG_DATA_HOME": os.path.join(self.folder, "data"),
                         "NO_AT_BRIDGE": "0", "GTK_A11Y": "atspi", "QT_ACCESSIBILITY": "1",
                         "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "LANG": "C.UTF-8",
                         "LC_ALL": "C.UTF-8", "GDK_BACKEND": "x11", "QT_QPA_PLATFORM": "xcb"})
        try:
            self.start_x(with_window_manager)
            self.start_bus()
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        self.close()

    def spawn(self, arguments, **options):
        log = open(os.path.join(self.folder, os.path.basename(arguments[0]) + ".log"), "ab")
        process = subprocess.Popen(arguments, env=options.pop("env", self.env), stdout=log,
                                   stderr=subprocess.STDOUT, start_new_session=True, **options)
        self.processes.append(process)
        return process

    def start_x(self, with_window_manager):
        read_end, write_end = os.pipe()
        self.xvfb = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x800x24", "-nolisten",
             "tcp", "-ac"], pass_fds=[write_end], env=self.env, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(write_end)
        with os.fdopen(read_end) as stream:
            number = stream.readline().strip()
        if not number:
            raise RuntimeError("Xvfb did not start")
        self.processes.append(self.xvfb)
        self.display = ":" + number
        self.env["DISPLAY"] = self.display
        if with_window_manager:
            self.start_window_manager()

    def start_window_manager(self):
        for attempt in range(3):
            openbox = self.spawn(["openbox", "--sm-disable"])
            try:
                wait_for(lambda: self.window_manager_ready() or openbox.poll() is not None,
                         timeout=20, what="openbox")
            except TimeoutError:
                continue
            if openbox.poll() is None:
                return
        raise RuntimeError("openbox did not start")

    def restart_x(self):
        """Kills the X server (and the window manager with it) and starts a new one on the
        same display number, as when the user's X server restarts."""
        number = self.display[1:]
        os.killpg(self.xvfb.pid, signal.SIGTERM)
        self.xvfb.wait(timeout=10)
        for path in ("/tmp/.X11-unix/X" + number, "/tmp/.X%s-lock" % number):
            if os.path.exists(path):
                os.remove(path)
        self.xvfb = subprocess.Popen(
            ["Xvfb", self.display, "-screen", "0", "1280x800x24", "-nolisten", "tcp", "-ac"],
            env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            start_new_session=True)
        self.processes.append(self.xvfb)
        wait_for(lambda: os.path.exists("/tmp/.X11-unix/X" + number), what="the new server")
        self.start_window_manager()

    def window_manager_ready(self):
        result = subprocess.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"], env=self.env,
                                capture_output=True, text=True)
        return "window id" in result.stdout

    def start_bus(self):
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address=1"],
                               env=self.env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               start_new_session=True, text=True)
        self.processes.append(bus)
        self.env["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        self.start_accessibility_bus()

    def start_accessibility_bus(self):
        self.atspi = self.spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"])
        wait_for(lambda: self.set_accessibility(True), timeout=15, interval=0.1,
                 what="the AT-SPI bus")

    def set_accessibility(self, enabled):
        result = subprocess.run(
            ["/usr/bin/python3", os.path.join(HERE, "a11y_switch.py"), "1" if enabled else "0"],
            env=self.env, capture_output=True, text=True, timeout=10)
        return result.returncode == 0

    def typist(self):
        return Typist(self.display)

    def close(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                try:
                    os.killpg(process.pid, signal.SIGCONT)
                    os.killpg(process.pid, signal.SIGTERM)
                except ProcessLookupError:
                    pass
        for process in reversed(self.processes):
            try:
                process.wait(timeout=5)
            except subprocess.TimeoutExpired:
                try:
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()
        if os.environ.get("WORDLOOM_KEEP_DESKTOP_LOGS"):
            print("logs kept in", self.folder)
        else:
            shutil.rmtree(self.folder, ignore_errors=True)
