"""Typing on through an expansion, and taking one back with Backspace.

The user's keys here come from a keyboard device of the X server (the "Xvfb keyboard" slave,
driven through XTest's device requests), as a real keyboard's would: Wordloom's own keys come
from XTest's core device, so the two can be told apart by the server just as on a desktop."""

import os
import signal
import subprocess
import time

from harness import wait_for
from keyboard_device import KeyboardTypist
from run_desktop_tests import DesktopTestCase, read


class TypingThroughTests(DesktopTestCase):
    snippets = [
        {"abbreviation": ";br", "content": "Best regards,"},
        {"abbreviation": ";an", "content": "Anna"},
        {"abbreviation": "qqx", "content": "Gruss"},
    ]
    settings = {"debugLoggingEnabled": "true"}
    TYPED_ON = " and more"

    def setUp(self):
        super().setUp()
        self.keyboard = KeyboardTypist(self.desktop.display)
        self.addCleanup(self.keyboard.close)

    def finished(self):
        return (read(self.wordloom.log) or "").count("Expansion finished")

    def wait_finished(self, count):
        wait_for(lambda: self.finished() >= count, what="%d expansions to finish" % count)

    def type_on(self, path, newline, per_key, trials=20):
        """The abbreviation, then at once " and more" (and a new line), `trials` times; each
        result is checked before the next trial, so a failure names its trial."""
        expected = read(path)
        correct = 0
        for trial in range(trials):
            self.keyboard.type(";br" + self.TYPED_ON + newline, delay=per_key)
            expected += "Best regards," + self.TYPED_ON + newline
            self.expect_text(path, expected)
            self.wait_finished(trial + 1 + self.finished_before)
            correct += 1
        return correct

    def open_xterm(self):
        path = self.output("xterm.txt")
        self.desktop.spawn(["xterm", "-e", "sh", "-c", "stty -echo; cat > '%s'" % path])
        wait_for(lambda: read(path) is not None, what="xterm")
        wait_for(lambda: "XTerm" in self.active_class(), what="xterm to be active")
        return path

    def active_class(self):
        from run_desktop_tests import active_window_property
        return active_window_property(self.desktop, "WM_CLASS")

    def settle(self, path):
        self.finished_before = self.finished()

    def test_qt_window_at_30_and_10_ms_per_key(self):
        path, _ = self.open_qt()
        self.settle(path)
        self.assertEqual(self.type_on(path, "\n", 0.030), 20)
        self.finished_before = self.finished()
        self.assertEqual(self.type_on(path, "\n", 0.010), 20)

    def test_gtk_window_at_30_and_10_ms_per_key(self):
        path, _ = self.open_gtk("textview")
        self.settle(path)
        self.assertEqual(self.type_on(path, "\n", 0.030), 20)
        self.finished_before = self.finished()
        self.assertEqual(self.type_on(path, "\n", 0.010), 20)

    def test_xterm_at_30_and_10_ms_per_key(self):
        path = self.open_xterm()
        self.finished_before = self.finished()
        # The terminal shows a line once Return is typed, and Return comes right after the
        # expansion: it is held with the rest.
        self.assertEqual(self.type_on(path, "\n", 0.030), 20)
        self.finished_before = self.finished()
        self.assertEqual(self.type_on(path, "\n", 0.010), 20)

    def test_two_abbreviations_back_to_back_both_expand(self):
        path, _ = self.open_gtk("textview")
        self.settle(path)
        self.keyboard.type(";br;an and more", delay=0.030)
        self.expect_text(path, "Best regards,Anna and more")
        self.keyboard.type(" ;an;br;an", delay=0.010)
        self.expect_text(path, "Best regards,Anna and more AnnaBest regards,Anna")

    def test_shift_altgr_and_a_dead_key_come_out_as_typed(self):
        subprocess.run(["setxkbmap", "-layout", "de"], env=self.desktop.env, check=True)
        path, _ = self.open_gtk("textview")
        self.settle(path)
        keys = self.keyboard
        for name in ("q", "q", "x"):
            keys.chord(name)
            time.sleep(0.02)
        # Typed on at once, all of it while the expansion is being inserted.
        keys.chord("space")
        keys.chord("Shift_L", "g")
        keys.chord("odiaeresis")
        keys.chord("ssharp")
        keys.chord("ISO_Level3_Shift", "q")   # @
        keys.chord("ISO_Level3_Shift", "e")   # €
        keys.chord("dead_circumflex")
        keys.chord("e")                       # ê
        self.expect_text(path, "Gruss Göß@€ê")

    def test_a_stopped_target_loses_nothing(self):
        path, target = self.open_qt()
        self.settle(path)
        self.keyboard.type(";br", delay=0.01)
        time.sleep(0.05)
        os.kill(target.pid, signal.SIGSTOP)
        try:
            self.keyboard.type(self.TYPED_ON, delay=0.03)
            time.sleep(1.0)
        finally:
            os.kill(target.pid, signal.SIGCONT)
        self.expect_text(path, "Best regards," + self.TYPED_ON, timeout=15)

    def test_backspace_takes_the_expansion_back_and_typing_goes_on(self):
        path, _ = self.open_qt()
        self.settle(path)
        self.keyboard.type("Hi ;br", delay=0.03)
        self.expect_text(path, "Hi Best regards,")
        self.wait_finished(self.finished_before + 1)
        self.keyboard.key("BackSpace")
        self.expect_text(path, "Hi ;br")
        self.keyboard.type("x", delay=0.03)
        self.expect_text(path, "Hi ;brx")
        self.keyboard.key("BackSpace")
        self.expect_text(path, "Hi ;br")


class UndoTurnedOffTests(DesktopTestCase):
    snippets = [{"abbreviation": ";br", "content": "Best regards,"}]
    settings = {"undoExpansionWithBackspace": "false"}

    def test_backspace_is_an_ordinary_one_and_the_setting_is_written(self):
        self.assertRegex(read(os.path.join(self.wordloom.data, "settings.json")),
                         r'"undoExpansionWithBackspace"\s*:\s*false')
        keyboard = KeyboardTypist(self.desktop.display)
        self.addCleanup(keyboard.close)
        path, _ = self.open_qt()
        keyboard.type(";br", delay=0.03)
        self.expect_text(path, "Best regards,")
        time.sleep(0.5)  # past the insertion
        keyboard.key("BackSpace")
        self.expect_text(path, "Best regards")
