"""Quitting in the middle of work: the application process gets SIGTERM (as at logout) while an
insertion is under way and while a script runs, and must end cleanly: status 0, no crash and
no sanitizer report."""

import os
import signal

from harness import wait_for
from helper_tests import script_helpers
from run_desktop_tests import DesktopTestCase, read

# Twenty parts, each pasted apart, with a Tab between: a few seconds of insertion.
SLOW = "".join("part%d{{key:tab}}" % index for index in range(20))
# A script that keeps its helper busy for five seconds.
FIVE_SECONDS = "{{js:var t = Date.now(); while (Date.now() - t < 5000) {} 'done'}}"

CRASH_SIGNS = ("AddressSanitizer", "LeakSanitizer", "runtime error:", "connection to the display",
               "Background work did not end in time")


def cpu_seconds(pid):
    try:
        with open("/proc/%d/stat" % pid) as stream:
            fields = stream.read().rsplit(")", 1)[1].split()
    except FileNotFoundError:
        return 0.0
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


class QuitTests(DesktopTestCase):
    snippets = DesktopTestCase.snippets + [
        {"abbreviation": ";slow", "content": SLOW},
        {"abbreviation": ";five", "content": FIVE_SECONDS},
    ]

    def application_process(self):
        """The process the supervisor runs the application in."""
        supervisor = self.wordloom.process.pid
        with open("/proc/%d/task/%d/children" % (supervisor, supervisor)) as stream:
            return int(stream.read().split()[0])

    def quit_and_expect_a_clean_end(self):
        os.kill(self.application_process(), signal.SIGTERM)
        # The supervisor ends with status 0 only when the application did; after a crash it
        # would start it again instead.
        self.assertEqual(self.wordloom.process.wait(timeout=30), 0)
        log = read(self.wordloom.log) or ""
        for sign in CRASH_SIGNS:
            self.assertNotIn(sign, log)

    def test_sigterm_during_an_insertion_ends_cleanly(self):
        path, _ = self.open_qt()
        self.typist.type(";slow")
        wait_for(lambda: "part1" in (read(path) or ""), timeout=20, what="the insertion to start")
        self.quit_and_expect_a_clean_end()
        # The insertion was stopped between two parts, not cut off by services going away.
        self.assertNotIn("part19", read(path))
        self.assertIn("Quitting: expansion stopped after a partial insertion",
                      read(self.wordloom.log))

    def test_sigterm_during_a_five_second_script_ends_cleanly(self):
        path, _ = self.open_qt()
        self.typist.type(";five")
        wait_for(lambda: any(cpu_seconds(helper) > 0.5
                             for helper in script_helpers(self.wordloom.process.pid)),
                 timeout=20, what="the script to be running")
        self.quit_and_expect_a_clean_end()
        self.assertNotIn("done", read(path))
