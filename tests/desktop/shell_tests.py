"""End-to-end tests of what a person sees: the tray icon and menu (in trayer, an XEmbed tray),
quick search and quick create opened from the command line, and the preferences window, all
driven with XTest keys and read back from the target window, the log and the library's files.
Run through run_desktop_tests.py (suite "shell")."""

import http.server
import json
import os
import subprocess
import threading
import time

from harness import Desktop, wait_for
from shell_driver import (accessible_text, move_pointer, open_tray_menu, press, start_tray,
                          tray_icon_geometry, window_geometry)


def read(path):
    try:
        with open(path, encoding="utf-8") as stream:
            return stream.read()
    except FileNotFoundError:
        return None


def json_file(path):
    text = read(path)
    try:
        return json.loads(text) if text else None
    except ValueError:
        return None  # caught between writes


def make_shell_tests(base, options, wordloom_class, active_window_name):
    """The test case, built on run_desktop_tests' DesktopTestCase (passed in to avoid an import
    cycle)."""

    class ShellTests(base):
        snippets = base.snippets + [
            {"abbreviation": ";cafe", "content": "Flat white, please", "label": "Café order"},
        ]

        def setUp(self):
            self.desktop = Desktop()
            self.addCleanup(self.desktop.close)
            start_tray(self.desktop)
            self.wordloom = wordloom_class(self.desktop, self.snippets, self.settings)
            self.typist = self.desktop.typist()
            self.addCleanup(self.typist.close)
            wait_for(lambda: "Tray icon shown" in self.log(), timeout=30, what="the tray icon")

        settings = {"debugLoggingEnabled": "true"}

        def log(self):
            return read(self.wordloom.log) or ""

        def request(self, *arguments):
            return subprocess.run([options.wordloom, "--data-dir", self.wordloom.data,
                                   *arguments], env=self.desktop.env, capture_output=True,
                                  text=True, timeout=30)

        def wait_active(self, title):
            wait_for(lambda: title in active_window_name(self.desktop), timeout=20,
                     what="the window " + title)

        def test_tray_icon_sits_in_the_tray_and_its_menu_pauses_and_resumes(self):
            self.assertIsNotNone(tray_icon_geometry(self.desktop))
            path, _ = self.open_gtk()
            open_tray_menu(self.desktop, self.typist, self.log)
            self.typist.key("p")  # &Pause Expansion
            wait_for(lambda: "Expansion paused" in self.log(), what="the pause")
            self.focus_settles(path)
            self.typist.type(";sig")
            time.sleep(1.0)  # nothing may happen: give it the chance to go wrong
            self.assertEqual(read(path), ";sig")
            open_tray_menu(self.desktop, self.typist, self.log)
            self.typist.key("r")  # &Resume Expansion
            wait_for(lambda: "Expansion resumed" in self.log(), what="the resumption")
            self.focus_settles(path)
            self.typist.type(" ;sig")
            self.expect_text(path, ";sig Best regards, Anna")

        def test_quick_search_expands_with_enter_where_the_user_was_typing(self):
            path, _ = self.open_gtk()
            self.typist.type("Order: ")
            self.expect_text(path, "Order: ")
            self.assertEqual(self.request("quick-search").returncode, 0)
            self.wait_active("Wordloom Quick Search")
            self.typist.type("CAFE")  # the label says "Café"
            time.sleep(0.3)
            self.typist.key("Return")
            self.expect_text(path, "Order: Flat white, please")

        def test_quick_search_copies_with_ctrl_enter_and_escape_gives_focus_back(self):
            path, _ = self.open_gtk()
            self.assertEqual(self.request("quick-search", "addr").returncode, 0)
            self.wait_active("Wordloom Quick Search")
            time.sleep(0.3)
            press(self.typist, "Return", control=True)
            folder = self.output("copied")
            wait_for(lambda: subprocess.run([options.test_window, "read", folder],
                                            env=self.desktop.env, timeout=20).returncode == 0
                     and read_format(folder, "text/plain") == b"1 Main St",
                     what="the copied expansion on the clipboard")
            self.assertEqual(read(path), "")  # nothing typed by a copy
            self.assertEqual(self.request("quick-search", ";sig").returncode, 0)
            self.wait_active("Wordloom Quick Search")
            self.typist.key("Escape")
            self.wait_active("Wordloom GTK")
            self.typist.type("back")
            self.expect_text(path, "back")

        def test_quick_create_saves_a_snippet_that_then_expands(self):
            path, _ = self.open_gtk("textview")
            refused = self.request("quick-create", "--type", "image")
            self.assertNotEqual(refused.returncode, 0)
            self.assertIn("Unknown content type", refused.stderr)
            self.assertEqual(self.request("quick-create", "--abbreviation", ";sig", "--content",
                                          "Made in\tthe panel\nwith two lines").returncode, 0)
            self.wait_active("New Snippet")
            self.typist.key("Return")  # ";sig" is taken: nothing is saved, the panel stays
            time.sleep(0.5)
            self.assertIn("New Snippet", active_window_name(self.desktop))
            for _ in range(4):
                self.typist.key("BackSpace")
            self.typist.type(";pan")
            self.typist.key("Return")
            snippets = os.path.join(self.wordloom.data, "snippets.json")
            saved = wait_for(lambda: [snippet for snippet in json_file(snippets) or []
                                      if snippet.get("abbreviation") == ";pan"],
                             what="the new snippet in snippets.json")
            self.assertEqual(saved[0]["content"], "Made in\tthe panel\nwith two lines")
            self.wait_active("Wordloom GTK")
            self.typist.type(";pan ")
            self.expect_text(path, "Made in\tthe panel\nwith two lines ")

        def test_the_welcome_window_lets_you_try_a_snippet_in_it(self):
            # The first start shows it without taking the keyboard: click it, as a person would.
            x, y, width, height = wait_for(
                lambda: window_geometry(self.desktop, "Welcome to Wordloom"), timeout=20,
                what="the welcome window")
            move_pointer(self.desktop, x + width // 2, y + 12)
            self.typist.click(1)
            self.wait_active("Welcome to Wordloom")
            self.typist.type(";today ")  # the seeded date snippets wait for a delimiter
            today = self.wordloom.run("expand", ";today").stdout.strip() + " "
            try:
                wait_for(lambda: accessible_text(self.desktop, "Try a snippet here") == today,
                         timeout=20, what="today's date in the field, read through AT-SPI")
            except TimeoutError:
                self.fail("the field says %r, expected %r\n%s" % (
                    accessible_text(self.desktop, "Try a snippet here"), today, self.log()))

        def test_preferences_are_saved_as_changed_and_launch_at_login_follows_the_box(self):
            autostart = os.path.join(self.desktop.env["XDG_CONFIG_HOME"], "autostart",
                                     "wordloom.desktop")
            settings = os.path.join(self.wordloom.data, "settings.json")
            open_tray_menu(self.desktop, self.typist, self.log)
            self.typist.key("e")  # Pr&eferences
            self.wait_active("Wordloom Preferences")
            press(self.typist, "s", alt=True)  # &Start Wordloom when I log in
            wait_for(lambda: os.path.exists(autostart), what="the autostart entry")
            self.assertIn("Exec=" + os.path.abspath(options.wordloom) + " start", read(autostart))
            wait_for(lambda: (json_file(settings) or {}).get("launchAtLogin") is True,
                     what="launchAtLogin in settings.json")
            press(self.typist, "s", alt=True)
            wait_for(lambda: not os.path.exists(autostart), what="the entry removed")
            wait_for(lambda: (json_file(settings) or {}).get("launchAtLogin") is False,
                     what="launchAtLogin off in settings.json")
            press(self.typist, "x", alt=True)  # the E&xpansion tab
            press(self.typist, "m", alt=True)  # &Match the case of what I type
            wait_for(lambda: (json_file(settings) or {}).get("smartCaseEnabled") is True,
                     what="smartCaseEnabled in settings.json")

            # The AI tab's Test asks a server speaking Ollama's protocol for its models.
            server = http.server.HTTPServer(("127.0.0.1", 0), ModelListHandler)
            threading.Thread(target=server.serve_forever, daemon=True).start()
            self.addCleanup(server.shutdown)
            endpoint = "http://127.0.0.1:%d" % server.server_port
            press(self.typist, "a", alt=True)  # the &AI tab
            press(self.typist, "d", alt=True)  # Ollama a&ddress
            press(self.typist, "a", control=True)
            self.typist.type(endpoint)
            press(self.typist, "t", alt=True)  # &Test
            wait_for(lambda: "Its models: llama3.2:latest, qwen2.5:7b." in self.log(),
                     what="the model list")
            wait_for(lambda: (json_file(settings) or {}).get("ollamaEndpoint") == endpoint,
                     what="ollamaEndpoint in settings.json")

    class NoTrayTests(base):
        """A desktop without any tray, as stock GNOME is."""

        def setUp(self):
            self.desktop = Desktop()
            self.addCleanup(self.desktop.close)
            library = os.path.join(self.desktop.folder, "library")
            os.makedirs(library)
            with open(os.path.join(library, "defaults.json"), "w") as stream:
                json.dump({"onboardingShown": True}, stream)  # not the first start
            self.wordloom = wordloom_class(self.desktop, self.snippets, self.settings)
            self.typist = self.desktop.typist()
            self.addCleanup(self.typist.close)

        def test_without_a_tray_it_says_so_and_shows_the_welcome_window_without_taking_focus(self):
            path, _ = self.open_gtk()
            self.typist.type("typing ")
            wait_for(lambda: "no system tray" in (read(self.wordloom.log) or ""), timeout=30,
                     what="the message about the missing tray")
            wait_for(lambda: window_geometry(self.desktop, "Welcome to Wordloom"),
                     what="the welcome window")
            self.typist.type("on")
            self.expect_text(path, "typing on")
            self.assertIsNone(tray_icon_geometry(self.desktop))

    return ShellTests, NoTrayTests


class ModelListHandler(http.server.BaseHTTPRequestHandler):
    """Answers GET /api/tags as Ollama does."""

    def do_GET(self):  # noqa: N802 - the name http.server calls
        body = json.dumps({"models": [{"name": "llama3.2:latest"}, {"name": "qwen2.5:7b"}]})
        status = 200 if self.path == "/api/tags" else 404
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body.encode())

    def log_message(self, *arguments):
        pass


def read_format(folder, kind):
    name = kind.encode().hex()
    try:
        with open(os.path.join(folder, name), "rb") as stream:
            return stream.read()
    except FileNotFoundError:
        return None
