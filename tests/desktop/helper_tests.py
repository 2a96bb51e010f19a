"""Which helper processes Wordloom keeps: a script helper waits ahead of need only when the
library has a script to run."""

import os

from harness import wait_for
from run_desktop_tests import DesktopTestCase


def descendants(pid):
    """Every process below `pid`, whichever of its threads started it."""
    found = []
    pending = [pid]
    while pending:
        parent = pending.pop()
        try:
            threads = os.listdir("/proc/%d/task" % parent)
        except FileNotFoundError:
            continue
        for thread in threads:
            try:
                with open("/proc/%d/task/%s/children" % (parent, thread)) as stream:
                    children = [int(child) for child in stream.read().split()]
            except FileNotFoundError:
                continue
            found += children
            pending += children
    return found


def script_helpers(pid):
    helpers = []
    for child in descendants(pid):
        try:
            with open("/proc/%d/comm" % child) as stream:
                if stream.read().startswith("wordloom-jsrun"):
                    helpers.append(child)
        except FileNotFoundError:
            pass
    return helpers


class PlainLibraryHelperTests(DesktopTestCase):
    def test_a_library_without_scripts_starts_no_script_helper(self):
        path, _ = self.open_qt()
        # An expansion shows the library loaded and the engine at work.
        self.typist.type(";sig")
        self.expect_text(path, "Best regards, Anna")
        self.assertEqual(script_helpers(self.wordloom.process.pid), [])


class ScriptLibraryHelperTests(DesktopTestCase):
    snippets = DesktopTestCase.snippets + [
        {"abbreviation": ";two", "content": "{{if:{{js:1+1}} == 2}}two{{/if}}"}]

    def test_a_library_with_a_script_has_a_helper_waiting(self):
        wait_for(lambda: script_helpers(self.wordloom.process.pid), timeout=30,
                 what="a script helper started ahead of need")
