#!/usr/bin/python3
# A GTK 3 window with a one-line entry holding the text given as the first argument: a real
# editor for the desktop backend's tests. It runs until it is killed.
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

window = Gtk.Window(title="Editor")
entry = Gtk.Entry()
entry.set_text(sys.argv[1] if len(sys.argv) > 1 else "")
window.add(entry)
window.connect("destroy", Gtk.main_quit)
window.show_all()
Gtk.main()
