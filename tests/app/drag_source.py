#!/usr/bin/python3
"""A window that offers files for dragging, as a file manager does: the test drags from its
button onto a Brellow window. Usage: drag_source.py FILE..."""
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

uris = [GLib.filename_to_uri(path, None) for path in sys.argv[1:]]
window = Gtk.Window(title="Drag source")
window.set_default_size(160, 80)
window.move(0, 0)
button = Gtk.Button(label="files")
button.drag_source_set(Gdk.ModifierType.BUTTON1_MASK, [], Gdk.DragAction.COPY)
button.drag_source_add_uri_targets()
button.connect("drag-data-get", lambda _w, _c, data, _i, _t: data.set_uris(uris))
window.add(button)
window.connect("destroy", Gtk.main_quit)
window.show_all()
Gtk.main()
