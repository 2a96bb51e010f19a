"""Prints the text of the first showing text field named NAME in the application APPLICATION,
read through AT-SPI as a screen reader reads it; exits 1 when there is none.
    /usr/bin/python3 atspi_text.py APPLICATION NAME"""

import sys

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi  # noqa: E402


def find(node, name, depth=0):
    if node is None or depth > 30:
        return None
    try:
        if node.get_name() == name and node.get_text_iface() is not None:
            return node
        for index in range(node.get_child_count()):
            found = find(node.get_child_at_index(index), name, depth + 1)
            if found is not None:
                return found
    except Exception:  # noqa: BLE001 - an object that went away while we looked
        return None
    return None


desktop = Atspi.get_desktop(0)
for index in range(desktop.get_child_count()):
    application = desktop.get_child_at_index(index)
    if application is not None and (application.get_name() or "").lower() == sys.argv[1].lower():
        field = find(application, sys.argv[2])
        if field is not None:
            text = field.get_text_iface()
            sys.stdout.write(text.get_text(0, text.get_character_count()))
            sys.exit(0)
sys.exit(1)
