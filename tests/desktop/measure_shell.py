"""Measures the shell on a private X server with a tray (trayer) and a 10,000-snippet library:
the time from a quick-search request to the panel being on screen with the keyboard, and the
application's memory with its windows closed (never opened, and after they were opened and
closed again).

The request is written to Wordloom's socket by this script, so that starting the command-line
program is not counted; "on screen" is when the window manager makes the panel the active
window (_NET_ACTIVE_WINDOW, watched with PropertyNotify), which comes after it is mapped.
Run with /usr/bin/python3; scripts/measure-shell builds a Release tree and runs it."""

import argparse
import ctypes
import json
import os
import socket
import statistics
import subprocess
import time

from harness import HERE, Desktop, wait_for
from measure import (load_average, log_path, memory_kib, read, report_memory, wordloom_processes,
                     write_library)
from shell_driver import start_tray

PROPERTY_CHANGE_MASK = 1 << 22
PROPERTY_NOTIFY = 28


class XEvent(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("pad", ctypes.c_long * 24)]


class ActiveWindowWatch:
    """The name of the active window, read whenever the root window says it changed."""

    def __init__(self, display_name):
        self.x11 = ctypes.CDLL("libX11.so.6")
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.x11.XOpenDisplay.argtypes = [ctypes.c_char_p]
        self.x11.XDefaultRootWindow.restype = ctypes.c_ulong
        self.x11.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
        self.x11.XInternAtom.restype = ctypes.c_ulong
        self.x11.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        self.x11.XSelectInput.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_long]
        self.x11.XPending.argtypes = [ctypes.c_void_p]
        self.x11.XNextEvent.argtypes = [ctypes.c_void_p, ctypes.POINTER(XEvent)]
        self.x11.XFlush.argtypes = [ctypes.c_void_p]
        self.x11.XGetWindowProperty.argtypes = [
            ctypes.c_void_p, ctypes.c_ulong, ctypes.c_ulong, ctypes.c_long, ctypes.c_long,
            ctypes.c_int, ctypes.c_ulong, ctypes.POINTER(ctypes.c_ulong),
            ctypes.POINTER(ctypes.c_int), ctypes.POINTER(ctypes.c_ulong),
            ctypes.POINTER(ctypes.c_ulong), ctypes.POINTER(ctypes.c_void_p)]
        self.x11.XFetchName.argtypes = [ctypes.c_void_p, ctypes.c_ulong,
                                        ctypes.POINTER(ctypes.c_char_p)]
        self.x11.XFree.argtypes = [ctypes.c_void_p]
        self.display = self.x11.XOpenDisplay(display_name.encode())
        self.root = self.x11.XDefaultRootWindow(self.display)
        self.active = self.x11.XInternAtom(self.display, b"_NET_ACTIVE_WINDOW", 0)
        self.x11.XSelectInput(self.display, self.root, PROPERTY_CHANGE_MASK)
        self.x11.XFlush(self.display)

    def active_name(self):
        kind, format_ = ctypes.c_ulong(), ctypes.c_int()
        count, after = ctypes.c_ulong(), ctypes.c_ulong()
        data = ctypes.c_void_p()
        self.x11.XGetWindowProperty(self.display, self.root, self.active, 0, 1, 0, 33,
                                    ctypes.byref(kind), ctypes.byref(format_),
                                    ctypes.byref(count), ctypes.byref(after), ctypes.byref(data))
        if not data.value or count.value == 0:
            return ""
        window = ctypes.cast(data, ctypes.POINTER(ctypes.c_ulong))[0]
        self.x11.XFree(data)
        name = ctypes.c_char_p()
        if window and self.x11.XFetchName(self.display, window, ctypes.byref(name)) and name.value:
            return name.value.decode(errors="replace")
        return ""

    def wait_for_active(self, title, deadline):
        """Seconds on the monotonic clock when `title` became active (or already was)."""
        event = XEvent()
        while time.monotonic() < deadline:
            while self.x11.XPending(self.display):
                self.x11.XNextEvent(self.display, ctypes.byref(event))
            if title in self.active_name():
                return time.monotonic()
            time.sleep(0.0005)
        raise TimeoutError("the window " + title)


def send_request(path, line):
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as client:
        client.connect(path)
        client.sendall(line.encode() + b"\n")
        return client.recv(256)


def application_memory(supervisor):
    return [(name, memory_kib(pid)) for name, pid in wordloom_processes(supervisor)
            if not name.startswith("helper")]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wordloom", required=True)
    parser.add_argument("--samples", type=int, default=30)
    parser.add_argument("--snippets", type=int, default=10000)
    parser.add_argument("--settle", type=float, default=15.0,
                        help="seconds to wait before reading memory")
    options = parser.parse_args()
    print("before: " + load_average(), flush=True)
    latencies = []
    with Desktop() as desktop:
        library = os.path.join(desktop.folder, "library")
        write_library(library, options.snippets, "The quick brown fox jumps over the lazy dog.")
        with open(os.path.join(library, "defaults.json"), "w") as stream:
            json.dump({"onboardingShown": True}, stream)  # no welcome window in the way
        start_tray(desktop)
        supervisor = desktop.spawn([options.wordloom, "--data-dir", library, "start"])
        log = log_path(desktop, options)
        wait_for(lambda: "Tray icon shown" in (read(log) or ""), timeout=60, what="the tray")
        time.sleep(options.settle)
        never_opened = application_memory(supervisor.pid)

        socket_path = os.path.join(desktop.env["XDG_RUNTIME_DIR"],
                                   "wordloom-%s.requests" % desktop.display.replace(":", "_"))
        watch = ActiveWindowWatch(desktop.display)
        typist = desktop.typist()
        # The window the user types in, which gets the keyboard back when the panel closes.
        target = os.path.join(desktop.folder, "gtk.txt")
        desktop.spawn(["/usr/bin/python3", os.path.join(HERE, "gtk_target.py"), target, "entry"])
        watch.wait_for_active("Wordloom GTK", time.monotonic() + 30)
        for sample in range(options.samples):
            sent = time.monotonic()
            answer = send_request(socket_path, "2\tquick-search")
            shown = watch.wait_for_active("Wordloom Quick Search", sent + 10)
            if answer.strip() != b"ok":
                raise RuntimeError("the request was refused: %r" % answer)
            latencies.append(1000 * (shown - sent))
            time.sleep(0.2)
            typist.key("Escape")
            watch.wait_for_active("Wordloom GTK", time.monotonic() + 10)
            time.sleep(0.3)
        send_request(socket_path, "2\tquick-create\tcontent=x")
        watch.wait_for_active("New Snippet", time.monotonic() + 10)
        typist.key("Escape")
        time.sleep(options.settle)
        closed_again = application_memory(supervisor.pid)
        typist.close()

    print("quick search, request to panel active (%d samples, %d snippets): median %.1f ms, "
          "min %.1f ms, max %.1f ms" % (len(latencies), options.snippets,
                                        statistics.median(latencies), min(latencies),
                                        max(latencies)))
    report_memory("tray only, no window opened yet", never_opened, options)
    report_memory("after quick search and quick create were opened and closed", closed_again,
                  options)
    print("after: " + load_average())


if __name__ == "__main__":
    main()
