"""A GTK window with one text field for end-to-end tests: "entry", "password" or "textview".
Every change of its text is written to OUTPUT (atomically), so the test can read it back.
Run with /usr/bin/python3."""

import os
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib  # noqa: E402

# Before GTK starts, so that its windows' class (the application id) is "Wordloom-gtk-target".
GLib.set_prgname("wordloom-gtk-target")
from gi.repository import Gtk  # noqa: E402

output, kind = sys.argv[1], sys.argv[2]


def save(text):
    temporary = output + ".tmp"
    with open(temporary, "w", encoding="utf-8") as stream:
        stream.write(text)
    os.replace(temporary, output)


window = Gtk.Window(title="Wordloom GTK " + kind)
window.set_default_size(600, 300)
window.connect("destroy", Gtk.main_quit)
if kind == "textview":
    view = Gtk.TextView()
    buffer = view.get_buffer()
    buffer.connect("changed", lambda b: save(b.get_text(b.get_start_iter(), b.get_end_iter(),
                                                         True)))
    window.add(view)
    field = view
else:
    field = Gtk.Entry()
    if kind == "password":
        field.set_visibility(False)
        field.set_input_purpose(Gtk.InputPurpose.PASSWORD)
    field.connect("changed", lambda entry: save(entry.get_text()))
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    box.pack_start(field, False, False, 0)
    window.add(box)
save("")
window.show_all()
window.present()
field.grab_focus()
Gtk.main()
