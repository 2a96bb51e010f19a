"""End-to-end tests of expansion in real windows on a private X server.

Each test starts its own desktop (Xvfb, openbox, session bus, AT-SPI bus), its own library and
`wordloom start`, types with XTest into a GTK or Qt window or xterm, and reads the window's text
back. Every wait is on a condition with a generous deadline; nothing depends on timing.

    /usr/bin/python3 run_desktop_tests.py --wordloom PATH --test-window PATH [--suite NAME]
"""

import argparse
import base64
import json
import os
import signal
import struct
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from harness import HERE, Desktop, wait_for  # noqa: E402

OPTIONS = argparse.Namespace()


def read(path):
    try:
        with open(path, encoding="utf-8") as stream:
            return stream.read()
    except FileNotFoundError:
        return None


class Wordloom:
    """A library with the given snippets and settings, and `wordloom start` on it."""

    def __init__(self, desktop, snippets, settings=None, ready="Wordloom is running"):
        self.desktop = desktop
        self.data = os.path.join(desktop.folder, "library")
        for snippet in snippets:
            self.add(**snippet)
        for key, value in (settings or {}).items():
            self.run("settings", "set", key, value)
        self.log = os.path.join(desktop.folder, os.path.basename(OPTIONS.wordloom) + ".log")
        self.process = desktop.spawn([OPTIONS.wordloom, "--data-dir", self.data, "start"])
        wait_for(lambda: ready in (read(self.log) or ""), timeout=30,
                 what="wordloom to start:\n" + self.data)

    def run(self, *arguments):
        return subprocess.run([OPTIONS.wordloom, "--data-dir", self.data, *arguments],
                              env=self.desktop.env, check=True, capture_output=True, text=True)

    def add(self, abbreviation, content="", trigger="immediate", case=None, apps=None,
            label=None, rtf=None, image=None):
        arguments = ["add", "--abbreviation", abbreviation, "--content", content, "--trigger",
                     trigger]
        if case:
            arguments += ["--case", case]
        if label:
            arguments += ["--label", label]
        if image:
            path = os.path.join(self.desktop.folder, abbreviation.strip(";") + ".image")
            with open(path, "wb") as stream:
                stream.write(image)
            arguments += ["--image", path]
        snippet_id = self.run(*arguments).stdout.strip().split()[-1]
        if apps:
            self.patch(snippet_id, {"appFilterMode": "whitelist",
                                    "filteredApps": [{"bundleId": app, "name": app}
                                                     for app in apps]})
        if rtf:
            # The command line has no rich-text editor: the record is written as the editor would.
            self.patch(snippet_id, {"contentType": "richText",
                                    "richTextData": base64.b64encode(rtf.encode()).decode()})

    def patch(self, snippet_id, fields):
        path = os.path.join(self.data, "snippets.json")
        with open(path, encoding="utf-8") as stream:
            snippets = json.load(stream)
        for snippet in snippets:
            if snippet["id"].lower() == snippet_id.lower():
                snippet.update(fields)
        with open(path, "w", encoding="utf-8") as stream:
            json.dump(snippets, stream, indent=2, sort_keys=True)


class DesktopTestCase(unittest.TestCase):
    snippets = [
        {"abbreviation": ";sig", "content": "Best regards, Anna"},
        {"abbreviation": "addr", "content": "1 Main St", "trigger": "delimiter"},
    ]
    settings = {}
    accessibility_at_start = True

    def setUp(self):
        self.desktop = Desktop()
        self.addCleanup(self.desktop.close)
        if self.accessibility_at_start:
            self.wordloom = Wordloom(self.desktop, self.snippets, self.settings)
        else:
            self.assertTrue(self.desktop.set_accessibility(False))
            self.wordloom = Wordloom(self.desktop, self.snippets, self.settings,
                                     ready="Waiting for accessibility")
        self.typist = self.desktop.typist()
        self.addCleanup(self.typist.close)

    def output(self, name):
        return os.path.join(self.desktop.folder, name)

    def open_gtk(self, kind="entry", name="gtk"):
        path = self.output(name + ".txt")
        process = self.desktop.spawn(["/usr/bin/python3", os.path.join(HERE, "gtk_target.py"),
                                      path, kind])
        wait_for(lambda: read(path) is not None, what="the GTK window")
        self.focus_settles(path)
        return path, process

    def open_qt(self, name="qt"):
        path = self.output(name + ".txt")
        process = self.desktop.spawn([OPTIONS.test_window, "editor", path])
        wait_for(lambda: read(path) is not None, what="the Qt window")
        self.focus_settles(path)
        return path, process

    def focus_settles(self, path):
        # The window has focus once a typed key arrives in it; the key is then taken back.
        before = read(path)
        for attempt in range(30):
            self.typist.type("_")
            try:
                wait_for(lambda: read(path) != before, timeout=1, what="keyboard focus")
                break
            except TimeoutError:
                continue
        else:
            self.fail("the window never got the keyboard focus")
        self.typist.key("BackSpace")
        wait_for(lambda: read(path) == before, what="the probe key to be erased")

    def open_rich(self, name="rich"):
        path = self.output(name + ".txt")
        self.desktop.spawn([OPTIONS.test_window, "rich", path])
        wait_for(lambda: read(path) is not None, what="the Qt rich editor")
        self.focus_settles(path)
        return path

    def expect_text(self, path, expected, timeout=10):
        try:
            wait_for(lambda: read(path) == expected, timeout=timeout, what=repr(expected))
        except TimeoutError:
            self.fail("window text %r, expected %r\n--- wordloom log ---\n%s"
                      % (read(path), expected, read(self.wordloom.log)))
        self.typist.wait_keys_released()


class ExpansionTests(DesktopTestCase):
    snippets = DesktopTestCase.snippets + [
        {"abbreviation": ";uni", "content": "Grüße, 東京 🇸🇪 — “quoted”"},
        {"abbreviation": ";long", "content": ("0123456789" * 1000)},
        {"abbreviation": ";cur", "content": "<a href=\"{{cursor}}\">link</a>"},
        {"abbreviation": ";tab", "content": "one{{key:tab}}two"},
        {"abbreviation": ";case", "content": "hello world", "case": "auto"},
        {"abbreviation": ";em", "content": "me@example.com"},
        {"abbreviation": ";email", "content": "Email me soon"},
        {"abbreviation": ";fi", "content": "Dear {{input:name}},", "label": "Greeting"},
        {"abbreviation": ";only", "content": "gtk only", "apps": ["Wordloom-gtk-target"]},
    ]
    settings = {"smartCaseEnabled": "true", "delayAmbiguousExpansions": "true"}

    def test_immediate_and_delimiter_snippets_in_a_gtk_entry(self):
        path, _ = self.open_gtk()
        self.typist.type("Hi ;sig")
        self.expect_text(path, "Hi Best regards, Anna")
        self.typist.type(" at addr.")
        self.expect_text(path, "Hi Best regards, Anna at 1 Main St.")
        self.typist.type(" addr")
        time.sleep(0.5)  # a delimiter-mode abbreviation waits for its delimiter
        self.assertEqual(read(path), "Hi Best regards, Anna at 1 Main St. addr")
        self.typist.type("!")
        self.expect_text(path, "Hi Best regards, Anna at 1 Main St. 1 Main St!")

    def test_qt_editor_gets_unicode_long_text_cursor_keys_and_smart_case(self):
        path, _ = self.open_qt()
        self.typist.type(";uni")
        self.expect_text(path, "Grüße, 東京 🇸🇪 — “quoted”")
        self.typist.type(" ;CASE")
        self.expect_text(path, "Grüße, 東京 🇸🇪 — “quoted” HELLO WORLD")
        self.typist.type(" ;Case")
        self.expect_text(path, "Grüße, 東京 🇸🇪 — “quoted” HELLO WORLD Hello world")
        self.typist.type(" ")
        self.typist.key("Return")
        self.typist.type("x addr.")
        self.expect_text(path, "Grüße, 東京 🇸🇪 — “quoted” HELLO WORLD Hello world \nx 1 Main St.")

    def test_ten_thousand_characters_and_the_caret(self):
        path, _ = self.open_qt()
        self.typist.type(";long")
        self.expect_text(path, "0123456789" * 1000, timeout=30)
        self.typist.key("Return")
        self.typist.type(";cur")
        expected = "0123456789" * 1000 + "\n<a href=\"\">link</a>"
        self.expect_text(path, expected)
        wait_for(lambda: read(path + ".caret") == str(len(expected) - len("\">link</a>")),
                 what="the caret before the link text")

    def test_keystroke_action_and_ambiguity_wait(self):
        path, _ = self.open_qt()
        self.typist.type(";tab")
        self.expect_text(path, "one\ttwo")
        self.typist.type(" ;em")
        self.expect_text(path, "one\ttwo me@example.com")
        self.typist.type(" ;email")
        self.expect_text(path, "one\ttwo me@example.com Email me soon")

    def test_application_filter_follows_the_active_window(self):
        qt_path, _ = self.open_qt()
        self.typist.type(";only ")
        time.sleep(0.5)  # nothing may happen: give it the chance to go wrong
        self.assertEqual(read(qt_path), ";only ")
        gtk_path, _ = self.open_gtk()
        self.typist.type(";only")
        self.expect_text(gtk_path, "gtk only")

    def test_fill_in_form_filled_and_cancelled(self):
        path, _ = self.open_gtk()
        self.typist.type(";fi")
        wait_for(lambda: "Greeting" in active_window_name(self.desktop), what="the fill-in form")
        self.typist.type("Ann\n")
        self.expect_text(path, "Dear Ann,")
        self.typist.type(" ;fi")
        wait_for(lambda: "Greeting" in active_window_name(self.desktop), what="the fill-in form")
        self.typist.key("Escape")
        wait_for(lambda: "Greeting" not in active_window_name(self.desktop), what="form gone")
        self.typist.type("!")
        self.expect_text(path, "Dear Ann, ;fi!")

    def test_twenty_expansions_in_a_row_lose_no_character(self):
        path, _ = self.open_gtk("textview")
        expected = ""
        for index in range(20):
            word = "w%d " % index
            self.typist.type(word + "addr ")
            expected += word + "1 Main St "
            self.expect_text(path, expected)


def formats_in(folder):
    """The files a test window wrote, one per clipboard format, by format."""
    result = {}
    for name in os.listdir(folder) if os.path.isdir(folder) else []:
        with open(os.path.join(folder, name), "rb") as stream:
            result[bytes.fromhex(name).decode()] = stream.read()
    return result


def bmp(width, height, pixel=(0, 0, 255)):
    """A 24-bit BMP of one colour (bottom-up rows padded to four bytes)."""
    row = bytes(pixel) * width + b"\0" * ((4 - width * 3 % 4) % 4)
    pixels = row * height
    header = struct.pack("<2sIHHI", b"BM", 54 + len(pixels), 0, 0, 54)
    info = struct.pack("<IiiHHIIiiII", 40, width, height, 1, 24, 0, len(pixels), 2835, 2835, 0, 0)
    return header + info + pixels


RICH_TEXT = ("{\\rtf1\\ansi\\ansicpg1252{\\fonttbl\\f0\\fswiss Helvetica;}\\f0 Dear \\b Anna\\b0 , "
             "see {\\field{\\*\\fldinst{HYPERLINK \"https://example.com/\"}}{\\fldrslt our site}}"
             " \\'96 caf\\'e9.}")


class ClipboardTests(DesktopTestCase):
    settings = {"debugLoggingEnabled": "true"}
    snippets = DesktopTestCase.snippets + [
        {"abbreviation": ";rich", "content": "Dear Anna, see our site \u2013 caf\u00e9.",
         "rtf": RICH_TEXT},
        {"abbreviation": ";img", "image": bmp(5, 3)},
    ]

    def test_rich_text_is_pasted_as_rtf_html_and_plain_text(self):
        path = self.open_rich()
        self.typist.type(";rich")
        self.expect_text(path, "Dear Anna, see our site \u2013 caf\u00e9.")
        # The editor keeps its copies of the formats after inserting the paste.
        pasted = wait_for(lambda: formats_in(path + ".pasted"), what="the pasted formats")
        self.assertEqual(pasted.get("text/rtf"), RICH_TEXT.encode())
        self.assertEqual(pasted.get("text/plain"), "Dear Anna, see our site \u2013 caf\u00e9.".encode())
        html = pasted.get("text/html", b"").decode()
        self.assertIn("Dear <b>Anna</b>, see <a href=\"https://example.com/\">our site</a>", html)
        self.assertIn("\u2013 caf\u00e9.", html)

    def test_an_image_is_pasted_as_png(self):
        path = self.open_rich()
        self.typist.type(";img")
        pasted = wait_for(lambda: formats_in(path + ".pasted"), what="the pasted image")
        png = pasted["image/png"]
        self.assertEqual(png[:8], b"\x89PNG\r\n\x1a\n")
        self.assertEqual(struct.unpack(">II", png[16:24]), (5, 3))  # IHDR width, height
        self.assertEqual(pasted.get("image/bmp"), bmp(5, 3))
        wait_for(lambda: ";img" not in read(path), what="the abbreviation to be erased")

    def test_user_clipboard_is_restored_with_every_format(self):
        formats = {"text/plain": b"user text", "text/html": b"<b>user</b> text",
                   "application/x-wordloom-test": bytes(range(256))}
        arguments = [OPTIONS.test_window, "copy"]
        for index, (kind, data) in enumerate(formats.items()):
            file = self.output("format%d" % index)
            with open(file, "wb") as stream:
                stream.write(data)
            arguments += [kind, file]
        self.desktop.spawn(arguments)
        wait_for(lambda: "owning" in (read(os.path.join(self.desktop.folder,
                                                          "wordloom-test-window.log")) or ""),
                 what="the clipboard owner")
        path, _ = self.open_gtk()
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")
        wait_for(lambda: self.clipboard_formats().get("application/x-wordloom-test")
                 == formats["application/x-wordloom-test"], what="the restored clipboard")
        restored = self.clipboard_formats()
        for kind, data in formats.items():
            self.assertEqual(restored.get(kind), data, kind)

    def clipboard_formats(self):
        folder = self.output("read-%f" % time.monotonic())
        subprocess.run([OPTIONS.test_window, "read", folder], env=self.desktop.env, timeout=20)
        result = {}
        for name in os.listdir(folder) if os.path.isdir(folder) else []:
            with open(os.path.join(folder, name), "rb") as stream:
                result[bytes.fromhex(name).decode()] = stream.read()
        return result

    def test_nothing_expands_in_a_password_field(self):
        path, _ = self.open_gtk("password")
        self.typist.type(";sig")
        time.sleep(1.0)  # nothing may happen: give it the chance to go wrong
        self.assertEqual(read(path), ";sig")

    def test_xterm_receives_an_expansion(self):
        path = self.output("xterm.txt")
        self.desktop.spawn(["xterm", "-e", "sh", "-c", "stty -echo; cat > '%s'" % path])
        wait_for(lambda: read(path) is not None, what="xterm")
        wait_for(lambda: "XTerm" in active_window_property(self.desktop, "WM_CLASS"),
                 what="xterm to be active")
        self.typist.type("$ ;sig")
        # The terminal shows nothing before Return; Return must wait for the expansion.
        wait_for(lambda: "Expansion finished" in read(self.wordloom.log), what="the expansion")
        self.typist.wait_keys_released()
        self.typist.type("\n")
        self.expect_text(path, "$ Best regards, Anna\n")


class RobustnessTests(DesktopTestCase):
    def test_a_hung_application_does_not_stall_typing_elsewhere(self):
        gtk_path, gtk = self.open_gtk()
        os.kill(gtk.pid, signal.SIGSTOP)
        self.addCleanup(lambda: os.kill(gtk.pid, signal.SIGCONT))
        qt_path, _ = self.open_qt()
        self.typist.type(";sig")
        self.expect_text(qt_path, "Best regards, Anna")

    def test_a_hung_clipboard_owner_does_not_stall_expansion(self):
        file = self.output("owned")
        with open(file, "wb") as stream:
            stream.write(b"held by a stopped program")
        owner = self.desktop.spawn([OPTIONS.test_window, "copy", "text/plain", file])
        wait_for(lambda: "owning" in (read(os.path.join(self.desktop.folder,
                                                         "wordloom-test-window.log")) or ""),
                 what="the clipboard owner")
        os.kill(owner.pid, signal.SIGSTOP)
        self.addCleanup(lambda: os.kill(owner.pid, signal.SIGCONT))
        path, _ = self.open_qt()
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")
        self.assertIn("owner did not answer", read(self.wordloom.log))
        self.typist.type(" addr ")
        self.expect_text(path, "Best regards, Anna 1 Main St ")

    def test_a_restarted_x_server_is_recovered(self):
        path, _ = self.open_gtk()
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")
        self.typist.close()
        self.desktop.restart_x()
        wait_for(lambda: "starting again" in (read(self.wordloom.log) or ""), timeout=20,
                 what="wordloom to notice")
        self.typist = self.desktop.typist()
        before = (read(self.wordloom.log) or "").count("Wordloom is running")
        wait_for(lambda: (read(self.wordloom.log) or "").count("Wordloom is running") > before,
                 timeout=30, what="wordloom to run again")
        path, _ = self.open_gtk(name="gtk-again")
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")


class AccessibilityBusTests(DesktopTestCase):
    def test_a_restarted_accessibility_bus_is_recovered(self):
        path, _ = self.open_gtk()
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")
        os.killpg(self.desktop.atspi.pid, signal.SIGTERM)
        self.desktop.atspi.wait(timeout=10)
        wait_for(lambda: "accessibility bus went away" in read(self.wordloom.log),
                 what="wordloom to notice")
        self.desktop.start_accessibility_bus()
        wait_for(lambda: read(self.wordloom.log).count("Wordloom is running") == 2, timeout=30,
                 what="wordloom to run again")
        path, _ = self.open_gtk(name="gtk-again")
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna", timeout=20)
        password, _ = self.open_gtk("password", name="password")
        self.typist.type(";sig")
        time.sleep(1.0)  # nothing may happen: give it the chance to go wrong
        self.assertEqual(read(password), ";sig")


class RequestTests(DesktopTestCase):
    def test_expand_now_and_copy_reach_the_running_instance(self):
        path, _ = self.open_qt()
        self.typist.type("Hi ")
        self.expect_text(path, "Hi ")
        self.assertIn("Expanding", self.wordloom.run("expand-now", ";sig").stdout)
        self.expect_text(path, "Hi Best regards, Anna")

        self.wordloom.run("copy", "addr")
        folder = self.output("copied")
        wait_for(lambda: subprocess.run([OPTIONS.test_window, "read", folder], env=self.desktop.env,
                                        timeout=20).returncode == 0
                 and formats_in(folder).get("text/plain") == b"1 Main St",
                 what="the copied expansion on the clipboard")
        self.assertEqual(read(path), "Hi Best regards, Anna")  # nothing typed by a copy

        unknown = self.request("expand-now", ";nothing")
        self.assertNotEqual(unknown.returncode, 0)
        self.assertIn("No enabled snippet has the abbreviation", unknown.stderr)
        elsewhere = self.request("copy", ";sig", DISPLAY=":987")
        self.assertNotEqual(elsewhere.returncode, 0)
        self.assertIn("not running on this display", elsewhere.stderr)
        self.assertEqual(read(path), "Hi Best regards, Anna")

    def request(self, command, abbreviation, **environment):
        return subprocess.run([OPTIONS.wordloom, "--data-dir", self.wordloom.data, command,
                               abbreviation], env=dict(self.desktop.env, **environment),
                              capture_output=True, text=True, timeout=30)


class AccessibilityStatusTests(DesktopTestCase):
    accessibility_at_start = False

    def test_accessibility_turned_on_is_seen_through_the_status_signal(self):
        self.assertTrue(self.desktop.set_accessibility(True))
        wait_for(lambda: "Wordloom is running" in read(self.wordloom.log),
                 what="wordloom to start expanding")
        log = read(self.wordloom.log)
        self.assertIn("accessibility status changed", log)
        path, _ = self.open_gtk()
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")
        # The status signal and the poll both saw the grant; the engine started once.
        self.assertEqual(read(self.wordloom.log).count("Wordloom is running"), 1)


def active_window_property(desktop, name):
    result = subprocess.run(["xprop", "-root", "_NET_ACTIVE_WINDOW"], env=desktop.env,
                            capture_output=True, text=True)
    window = result.stdout.strip().split()[-1] if result.stdout.strip() else ""
    if not window.startswith("0x") or window == "0x0":
        return ""
    result = subprocess.run(["xprop", "-id", window, name], env=desktop.env,
                            capture_output=True, text=True)
    return result.stdout


def active_window_name(desktop):
    return active_window_property(desktop, "WM_NAME")


# Test files of their own import this module by name: let them find this one, not a second copy.
sys.modules.setdefault("run_desktop_tests", sys.modules[__name__])
from helper_tests import PlainLibraryHelperTests, ScriptLibraryHelperTests  # noqa: E402
from shell_tests import make_shell_tests  # noqa: E402
from library_tests import make_library_tests  # noqa: E402
from hotkey_tests import HotkeyTests  # noqa: E402
from quit_tests import QuitTests  # noqa: E402
from link_tests import LinkTests  # noqa: E402
from typing_through_tests import TypingThroughTests, UndoTurnedOffTests  # noqa: E402

ShellTests, NoTrayTests = make_shell_tests(DesktopTestCase, OPTIONS, Wordloom,
                                           active_window_name)
LibraryWindowTests = make_library_tests(DesktopTestCase, OPTIONS, active_window_name)

SUITES = {"expansion": [ExpansionTests, RequestTests], "clipboard": [ClipboardTests],
          "robustness": [RobustnessTests, QuitTests],
          "helpers": [PlainLibraryHelperTests, ScriptLibraryHelperTests],
          "accessibility": [AccessibilityBusTests, AccessibilityStatusTests],
          "shell": [ShellTests, NoTrayTests], "hotkeys": [HotkeyTests],
          "links": [LinkTests],
          "library": [LibraryWindowTests],
          "typing": [TypingThroughTests, UndoTurnedOffTests]}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wordloom", required=True)
    parser.add_argument("--test-window", required=True)
    parser.add_argument("--suite", choices=sorted(SUITES))
    parser.add_argument("tests", nargs="*")
    parser.parse_args(namespace=OPTIONS)
    loader = unittest.TestLoader()
    if OPTIONS.tests:
        suite = unittest.TestSuite(loader.loadTestsFromName(name, sys.modules[__name__])
                                   for name in OPTIONS.tests)
    elif OPTIONS.suite:
        suite = unittest.TestSuite(loader.loadTestsFromTestCase(case)
                                   for case in SUITES[OPTIONS.suite])
    else:
        suite = unittest.TestSuite(loader.loadTestsFromTestCase(case)
                                   for cases in SUITES.values() for case in cases)
    result = unittest.TextTestRunner(verbosity=2).run(suite)
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
