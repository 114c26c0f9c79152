#!/usr/bin/python3
"""A GTK3 window with one text field, for tests that type into, paste into or read a real field.

The field takes the focus, starts with --text and a cursor at --cursor (characters; the end by
default), optionally selecting up to --select-to. Every change of the buffer is written to --output.
--wm-class sets the window's WM_CLASS. Once the window is mapped and the field has the focus, the word "ready" is written to --ready.
"""

import argparse
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--kind", choices=["entry", "textview"], default="entry")
    parser.add_argument("--text", default="")
    parser.add_argument("--cursor", type=int, default=-1)
    parser.add_argument("--select-to", type=int, default=None)
    parser.add_argument("--output", default=None)
    parser.add_argument("--ready", default=None)
    parser.add_argument("--title", default="Murvelo test field")
    parser.add_argument("--key-log", default=None, help="append each key chord with Ctrl held, e.g. ctrl+shift+v")
    parser.add_argument("--wm-class", default=None, help="WM_CLASS name and class, e.g. to pose as a terminal")
    args = parser.parse_args()

    window = Gtk.Window(title=args.title)
    window.set_default_size(400, 200)
    if args.wm_class:
        window.set_wmclass(args.wm_class, args.wm_class)
    window.connect("destroy", Gtk.main_quit)

    length = len(args.text)
    cursor = length if args.cursor < 0 else min(args.cursor, length)
    bound = cursor if args.select_to is None else min(args.select_to, length)

    if args.kind == "entry":
        field = Gtk.Entry()
        field.set_text(args.text)

        def contents():
            return field.get_text()

        def place():
            field.select_region(cursor, bound) if bound != cursor else field.set_position(cursor)

        field.connect("changed", lambda *_: write(contents()))
    else:
        field = Gtk.TextView()
        buffer = field.get_buffer()
        buffer.set_text(args.text)

        def contents():
            return buffer.get_text(buffer.get_start_iter(), buffer.get_end_iter(), True)

        def place():
            buffer.select_range(buffer.get_iter_at_offset(cursor), buffer.get_iter_at_offset(bound))

        buffer.connect("changed", lambda *_: write(contents()))

    def write(text):
        if args.output:
            with open(args.output, "w", encoding="utf-8") as out:
                out.write(text)

    def key_pressed(_widget, event):
        if args.key_log and event.state & Gdk.ModifierType.CONTROL_MASK:
            name = Gdk.keyval_name(Gdk.keyval_to_lower(event.keyval))
            if name not in ("Control_L", "Control_R", "Shift_L", "Shift_R"):
                shift = "shift+" if event.state & Gdk.ModifierType.SHIFT_MASK else ""
                with open(args.key_log, "a", encoding="utf-8") as out:
                    out.write("ctrl+" + shift + name + "\n")
        return False

    window.connect("key-press-event", key_pressed)
    window.add(field)
    write(contents())
    announced = [False]

    def settle():
        # Entries select everything when they take the focus; place the cursor afterwards.
        if not field.has_focus():
            window.present()
            field.grab_focus()
            return True
        place()
        if not announced[0]:
            announced[0] = True
            if args.ready:
                with open(args.ready, "w", encoding="utf-8") as out:
                    out.write("ready")
        return False

    def mapped(*_):
        window.present_with_time(Gdk.CURRENT_TIME)
        field.grab_focus()
        GLib.timeout_add(50, settle)

    window.connect("map-event", mapped)
    window.show_all()
    Gtk.main()
    return 0


if __name__ == "__main__":
    sys.exit(main())
