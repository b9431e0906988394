#!/usr/bin/python3
"""receiver.py TOOLKIT FILE: a text window that writes its text to a file when it has the focus, and again soon
after each change."""

import os
import sys

INTERVAL = 20  # milliseconds


def save(has_focus, text, name=sys.argv[2], saved=[None]):
    if has_focus and text != saved[0]:
        saved[0] = text
        with open(name + ".new", "w", encoding="utf-8", errors="replace", newline="") as file:
            file.write(text)
        os.rename(name + ".new", name)
    return True


def gtk3():
    import gi
    gi.require_version("Gtk", "3.0")
    from gi.repository import GLib, Gtk
    window, view = Gtk.Window(), Gtk.TextView()
    text = view.get_buffer()
    window.set_default_size(300, 200)
    window.add(view)
    window.show_all()
    GLib.timeout_add(INTERVAL, lambda: save(view.has_focus(), text.get_text(*text.get_bounds(), True)))
    Gtk.main()


def qt6():
    from PyQt6.QtCore import QTimer
    from PyQt6.QtWidgets import QApplication, QPlainTextEdit
    application, editor, timer = QApplication([]), QPlainTextEdit(), QTimer()
    # Unlike toPlainText() this keeps no-break spaces.
    timer.timeout.connect(lambda: save(editor.hasFocus(), editor.document().toRawText().replace("\u2029", "\n")))
    timer.start(INTERVAL)
    editor.show()
    application.exec()


def tk():
    import tkinter
    window = tkinter.Tk()
    editor = tkinter.Text(window, width=40, height=10)
    editor.pack()
    editor.focus_set()

    def look():
        # Tk 8.6 keeps a character beyond the BMP as two halves.
        text = editor.get("1.0", "end-1c").encode("utf-16", "surrogatepass").decode("utf-16", "replace")
        save(window.focus_displayof() is not None, text)
        editor.edit_modified(False)
    editor.bind("<<Modified>>", lambda _: editor.edit_modified() and window.after(INTERVAL, look))
    editor.bind("<FocusIn>", lambda _: look())
    window.mainloop()


globals()[sys.argv[1]]()
