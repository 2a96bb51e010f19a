"""wordloom:// links opened as the desktop opens them: xdg-open finds the link entry among the
user's applications, whose `wordloom open-url` hands the link to the running instance."""

import json
import os
import subprocess

from harness import HERE, wait_for
from run_desktop_tests import (OPTIONS, DesktopTestCase, active_window_name, formats_in,
                               read)

ENTRY = os.path.join(HERE, "..", "..", "packaging", "wordloom-open-url.desktop")
# Variables by which xdg-open would pick a desktop's own opener instead of the generic one,
# which reads the user's mimeapps.list and applications folder as every desktop does.
DESKTOP_VARIABLES = ("XDG_CURRENT_DESKTOP", "DESKTOP_SESSION", "KDE_FULL_SESSION",
                     "GNOME_DESKTOP_SESSION_ID", "MATE_DESKTOP_SESSION_ID", "DE", "BROWSER")
REFUSED_CLIPBOARD = ("rejected: Snippets that read the clipboard or selected text cannot be "
                     "expanded from a URL")


class LinkTests(DesktopTestCase):
    snippets = DesktopTestCase.snippets + [
        {"abbreviation": ";greet", "content": "Hello {{input:Name}}!"},
        {"abbreviation": ";clip", "content": "Pasted: {{clipboard}}"},
        {"abbreviation": ";nest", "content": "Before {{snippet:;clip}}"},
    ]
    settings = {"allowURLSchemeExpansion": "true"}

    def setUp(self):
        super().setUp()
        self.env = {name: value for name, value in self.desktop.env.items()
                    if name not in DESKTOP_VARIABLES}
        applications = os.path.join(self.env["XDG_DATA_HOME"], "applications")
        os.makedirs(applications, exist_ok=True)
        with open(ENTRY, encoding="utf-8") as stream:
            entry = stream.read()
        # The packaged entry runs `wordloom` from the PATH; here it is the build's.
        self.assertIn("Exec=wordloom open-url %u", entry)
        self.assertIn("MimeType=x-scheme-handler/wordloom;", entry)
        with open(os.path.join(applications, "wordloom-open-url.desktop"), "w",
                  encoding="utf-8") as stream:
            stream.write(entry.replace("Exec=wordloom ", "Exec=%s " % OPTIONS.wordloom))
        subprocess.run(["xdg-mime", "default", "wordloom-open-url.desktop",
                        "x-scheme-handler/wordloom"], env=self.env, check=True, timeout=30)

    def xdg_open(self, link):
        return subprocess.run(["xdg-open", link], env=self.env, capture_output=True, text=True,
                              timeout=60)

    def open_url(self, *arguments):
        return subprocess.run([OPTIONS.wordloom, "open-url", *arguments], env=self.env,
                              capture_output=True, text=True, timeout=60)

    def wait_active(self, name):
        wait_for(lambda: name in active_window_name(self.desktop), timeout=20,
                 what="the active window " + name)

    def test_xdg_open_expands_a_link_into_the_focused_gtk_window(self):
        path, _ = self.open_gtk()
        opened = self.xdg_open("wordloom://expand?abbr=;sig")
        self.assertEqual(opened.returncode, 0, opened.stdout + opened.stderr)
        self.assertEqual(opened.stdout, "expanded\n")
        self.expect_text(path, "Best regards, Anna")
        # Inline arguments fill the snippet's field: no form asks for it. (xdg-open looks the
        # scheme up as written; route and names may be in any case.)
        self.assertEqual(self.xdg_open("wordloom://Expand?ABBR=;greet&args=%3CAnn").returncode,
                         0)
        self.expect_text(path, "Best regards, AnnaHello Ann!")

    def test_a_link_to_a_snippet_reading_the_clipboard_inserts_and_copies_nothing(self):
        owned = self.output("owned")
        with open(owned, "wb") as stream:
            stream.write(b"the user's own text")
        self.desktop.spawn([OPTIONS.test_window, "copy", "text/plain", owned])
        wait_for(lambda: "owning" in (read(os.path.join(self.desktop.folder,
                                                         "wordloom-test-window.log")) or ""),
                 what="the clipboard owner")
        path, _ = self.open_gtk()
        for link in ("wordloom://expand?abbr=;clip", "wordloom://expand?abbr=;nest&copy"):
            refused = self.xdg_open(link)
            self.assertNotEqual(refused.returncode, 0, link)
            self.assertEqual(refused.stdout, REFUSED_CLIPBOARD + "\n", link)
        self.assertEqual(read(self.wordloom.log).count("A wordloom:// link was refused"), 2)
        folder = self.output("clipboard")
        self.assertEqual(subprocess.run([OPTIONS.test_window, "read", folder], env=self.env,
                                        timeout=20).returncode, 0)
        self.assertEqual(formats_in(folder).get("text/plain"), b"the user's own text")
        # Links are handled in order: the one after the refused ones is all the window gets.
        self.assertEqual(self.xdg_open("wordloom://expand?abbr=;sig").returncode, 0)
        self.expect_text(path, "Best regards, Anna")

    def test_links_open_quick_create_filled_in_and_quick_search(self):
        path, _ = self.open_gtk()
        opened = self.open_url("--json", "wordloom://new-snippet?abbr=;link"
                               "&text=From%20a%20link+page&title=Linked")
        self.assertEqual(json.loads(opened.stdout),
                         {"message": "", "outcome": "openedQuickCreate"})
        self.wait_active("New Snippet")
        self.typist.key("Return")
        snippets = os.path.join(self.wordloom.data, "snippets.json")

        def saved():
            with open(snippets, encoding="utf-8") as stream:
                return [s for s in json.load(stream) if s.get("abbreviation") == ";link"]
        snippet = wait_for(saved, what="the new snippet in snippets.json")[0]
        self.assertEqual((snippet["content"], snippet["label"]), ("From a link+page", "Linked"))

        self.assertEqual(self.open_url("wordloom:quick-search?query=sig").stdout,
                         "openedQuickSearch\n")
        self.wait_active("Wordloom Quick Search")
        self.typist.key("Return")  # the first match, ;sig, where the user was typing
        self.expect_text(path, "Best regards, Anna")
