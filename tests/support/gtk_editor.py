#!/usr/bin/python3
# A real GTK 3 editor for the desktop backend's tests:
#   gtk_editor.py KIND TEXT [START END]
# KIND is "entry" (one line), "view" (a text view) or "entry-refusing", an entry where direct
# writes through the accessibility bus do not stick: only typing and pasting change it. START and END select in code points, as
# GTK counts. Every change of the text is printed on standard output as one JSON string, and
# "ready" once the field has the focus. It runs until it is killed.
import json
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

kind = sys.argv[1] if len(sys.argv) > 1 else "entry"
text = sys.argv[2] if len(sys.argv) > 2 else ""
selection = (int(sys.argv[3]), int(sys.argv[4])) if len(sys.argv) > 4 else None


def report(value):
    print(json.dumps(value), flush=True)


window = Gtk.Window(title="Editor")
window.set_default_size(480, 200)
if kind == "view":
    field = Gtk.TextView()
    buffer = field.get_buffer()
    buffer.set_text(text)
    buffer.connect("changed", lambda b: report(b.get_text(b.get_start_iter(), b.get_end_iter(), True)))
else:
    field = Gtk.Entry()
    field.set_text(text)
    field.connect("changed", lambda e: report(e.get_text()))
    if kind == "entry-refusing":
        # A write that no key press caused came through the accessibility bus.
        # GTK moves the cursor after such a write even when it was refused; the field puts its
        # selection back, as one that ignores the write altogether would keep it.
        def refuse(editable, signal):
            if Gtk.get_current_event() is None:
                editable.stop_emission_by_name(signal)
                bounds = editable.get_selection_bounds() or (editable.get_position(),) * 2
                GLib.idle_add(lambda: editable.select_region(*bounds) and False)
        field.connect("insert-text", lambda e, text, length, position: refuse(e, "insert-text"))
        field.connect("delete-text", lambda e, start, end: refuse(e, "delete-text"))
window.add(field)
window.connect("destroy", Gtk.main_quit)
window.show_all()


def select():
    field.grab_focus()
    if kind == "view":
        start = buffer.get_iter_at_offset(selection[0] if selection else buffer.get_char_count())
        end = buffer.get_iter_at_offset(selection[1] if selection else buffer.get_char_count())
        buffer.select_range(end, start)
    elif selection:
        field.select_region(*selection)
    else:
        field.set_position(-1)
    print("ready", flush=True)
    return False


GLib.timeout_add(200, select)
Gtk.main()
