"""Wordloom at work without a desktop: a private X server with Wordloom and a text window; a
seeded abbreviation is typed, and the window's text before and after is printed, with a
screenshot of the screen. Run by scripts/run when there is no display."""

import argparse
import os
import shutil
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from harness import Desktop, wait_for  # noqa: E402


def read(path):
    try:
        with open(path, encoding="utf-8") as stream:
            return stream.read()
    except FileNotFoundError:
        return None


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--wordloom", required=True)
    parser.add_argument("--test-window", required=True)
    parser.add_argument("--screenshot", default="wordloom-demo.png")
    options = parser.parse_args()

    with Desktop() as desktop:
        library = os.path.join(desktop.folder, "library")
        subprocess.run([options.wordloom, "--data-dir", library, "add", "--abbreviation", ";sig",
                        "--content", "Best regards,\nAnna Lindqvist", "--trigger", "immediate"],
                       env=desktop.env, check=True, capture_output=True)
        log = os.path.join(desktop.folder, os.path.basename(options.wordloom) + ".log")
        desktop.spawn([options.wordloom, "--data-dir", library, "start"])
        wait_for(lambda: "Wordloom is running" in (read(log) or ""), timeout=60, what="wordloom")
        output = os.path.join(desktop.folder, "window.txt")
        desktop.spawn([options.test_window, "editor", output])
        wait_for(lambda: read(output) is not None, what="the text window")
        typist = desktop.typist()
        for attempt in range(30):
            typist.type("_")
            try:
                wait_for(lambda: read(output) == "_", timeout=1, what="focus")
                break
            except TimeoutError:
                pass
        typist.key("BackSpace")
        wait_for(lambda: read(output) == "", what="an empty window")

        typist.type("Thanks for your help! ;sig")
        expected = "Thanks for your help! Best regards,\nAnna Lindqvist"
        wait_for(lambda: read(output) == expected, timeout=10, what="the expansion")
        print("before (typed):    %r" % "Thanks for your help! ;sig")
        print("window afterwards: %r" % read(output))
        subprocess.run([options.test_window, "screenshot", os.path.abspath(options.screenshot)],
                       env=desktop.env, check=True)
        print("screenshot:       %s" % os.path.abspath(options.screenshot))
        typist.close()
        print("--- wordloom's log ---")
        print(read(log))


if __name__ == "__main__":
    main()
