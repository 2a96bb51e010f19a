"""End-to-end tests of the library window: opened with `wordloom library`, driven with XTest
keys as a person types them, and checked in the library's files and by typing the snippets in a
GTK window. Run through run_desktop_tests.py (suite "library")."""

import json
import os
import subprocess
import time

from harness import wait_for
from shell_driver import press


def snippets_on_disk(data):
    try:
        with open(os.path.join(data, "snippets.json"), encoding="utf-8") as stream:
            return {snippet["abbreviation"]: snippet for snippet in json.load(stream)}
    except (FileNotFoundError, ValueError):
        return {}  # not written yet, or caught between writes


def make_library_tests(base, options, active_window_name):
    class LibraryWindowTests(base):
        def request(self, *arguments):
            return subprocess.run([options.wordloom, "--data-dir", self.wordloom.data,
                                   *arguments], env=self.desktop.env, capture_output=True,
                                  text=True, timeout=30)

        def open_library(self, *snippet):
            result = self.request("library", *snippet)
            self.assertEqual(result.returncode, 0, result.stderr)
            wait_for(lambda: "Wordloom Library" in active_window_name(self.desktop), timeout=20,
                     what="the library window")
            time.sleep(0.3)

        def on_disk(self, abbreviation, condition, what):
            wait_for(lambda: condition(snippets_on_disk(self.wordloom.data).get(abbreviation)),
                     timeout=10, what=what)

        def test_a_snippet_made_in_the_window_expands_when_typed(self):
            self.open_library()
            press(self.typist, "n", control=True)
            self.typist.type(";made")  # replaces the chosen ";new"
            press(self.typist, "o", alt=True)  # C&ontent
            self.typist.type("Made in the library")
            press(self.typist, "s", control=True)
            self.on_disk(";made", lambda s: s and s["content"] == "Made in the library",
                         "the new snippet in snippets.json")
            path, _ = self.open_gtk()
            self.typist.type(";made ")
            self.expect_text(path, "Made in the library ")

        def test_an_edit_is_undone_by_restoring_its_version(self):
            self.open_library(";sig")
            press(self.typist, "o", alt=True)
            press(self.typist, "a", control=True)
            self.typist.type("Changed")
            press(self.typist, "s", control=True)
            self.on_disk(";sig", lambda s: s and s["content"] == "Changed", "the edit")
            self.typist.key("v", shift=True, control=True)  # Versions...
            wait_for(lambda: "Versions of" in active_window_name(self.desktop), timeout=10,
                     what="the versions window")
            time.sleep(0.3)
            press(self.typist, "r", alt=True)  # &Restore This Version
            self.on_disk(";sig", lambda s: s and s["content"] == "Best regards, Anna",
                         "the restored version")
            path, _ = self.open_gtk()
            self.typist.type(";sig")
            self.expect_text(path, "Best regards, Anna")

        def test_a_deleted_snippet_stops_expanding_until_put_back(self):
            self.open_library(";sig")  # the list has the keyboard, the snippet chosen
            self.typist.key("Delete")
            self.on_disk(";sig", lambda s: s and s.get("deletedAt"), "the deletion")
            path, _ = self.open_gtk()
            self.typist.type(";sig")
            time.sleep(1.0)  # nothing may happen: give it the chance to go wrong
            self.assertEqual(open(path, encoding="utf-8").read(), ";sig")
            for _ in range(4):
                self.typist.key("BackSpace")
            self.open_library(";sig")  # found in Recently Deleted
            self.typist.key("r", shift=True, control=True)  # Put Back
            self.on_disk(";sig", lambda s: s and not s.get("deletedAt"), "the snippet put back")
            path, _ = self.open_gtk(name="again")
            self.typist.type(";sig")
            self.expect_text(path, "Best regards, Anna")

        def test_asking_for_a_snippet_that_is_not_there_says_so(self):
            result = self.request("library", ";nothing")
            self.assertNotEqual(result.returncode, 0)
            self.assertIn("No snippet has the id or abbreviation", result.stderr)

    return LibraryWindowTests
