#!/usr/bin/python3
"""A process that listens where the hook of an application would, and misbehaves in the way named.

stranger: says nothing about itself. The others do, and then
silent: never answers · garbage: sends bytes that are not messages · nonsense: answers with values of other types
flood: sends signals without end · sparse: a picture of 17 GiB without contents · escapes: a name and errors with controls
recorder: begins recordings on a display that only it can open, and never sends a segment
"""

import array
import contextlib
import os
import pathlib
import socket
import sys
import threading

from jeepney import DBusAddress, HeaderFields, MessageType, new_error, new_method_return, new_signal
from jeepney.low_level import Parser

HOOK = DBusAddress("/org/zendra/Hook1", interface="org.zendra.Hook1")
PROPERTIES = {"ProgramName": ("s", "hostile"), "ProcessId": ("u", os.getpid()), "Variant": ("s", "pure"),
              "Display": ("s", os.environ.get("DISPLAY", "")), "Version": ("s", "0")}


def authenticate(connection):
    """The server's side of EXTERNAL, which lets everybody in."""
    lines = connection.makefile("rb", buffering=0)
    while not (line := lines.readline()).startswith(b"BEGIN"):
        if not line:
            raise ConnectionError
        connection.sendall({b"AUTH": b"OK 0123456789abcdef0123456789abcdef\r\n",
                            b"NEGO": b"AGREE_UNIX_FD\r\n"}.get(line.lstrip(b"\0")[:4], b"ERROR\r\n"))


def sparse_picture(message):
    file = os.memfd_create("picture")
    os.ftruncate(file, 17 << 30)
    side = 67_000
    return new_method_return(message, "hiiid", (file, side, side, 4 * side, 1.0))


def answer(kind, message):
    if message.header.fields.get(HeaderFields.member) == "GetAll" and kind != "stranger":
        name = "two\nlines \x1b[31mred\x1b]0;title\x07" if kind == "escapes" else "hostile"
        display = {"Display": ("s", ":99")} if kind == "recorder" else {}
        return new_method_return(message, "a{sv}", ({**PROPERTIES, "ProgramName": ("s", name), **display},))
    if kind == "recorder":
        replies = {"RecordScreen": ("ou", ("/recording", 1)), "SuppressFlush": ("b", (False,))}
        return new_method_return(message, *replies.get(message.header.fields.get(HeaderFields.member), ()))
    if kind == "sparse":
        return sparse_picture(message)
    if kind == "escapes":
        return new_error(message, "org.zendra.Error.OperationFailed", "s", ("first\nsecond \x1b[2J third " + "x" * 99999,))
    return new_method_return(message, "asi", (["nonsense"] * 9, -1))


def flood(connection, serials):
    signal = new_signal(HOOK, "Segment", "ay", (bytes(60_000),))
    with contextlib.suppress(OSError):
        while True:
            connection.sendall(signal.serialise(next(serials)))


def serve(connection, kind):
    serials = iter(range(1, 1 << 31))
    authenticate(connection)
    parser = Parser()
    while data := connection.recv(65536):
        parser.add_data(data)
        while (message := parser.get_next_message()) is not None:
            if message.header.message_type != MessageType.method_call:
                continue
            if message.header.fields.get(HeaderFields.member) != "GetAll":
                if kind == "silent":
                    continue
                if kind == "garbage":
                    connection.sendall(b"l\1\0\1" + bytes(range(256)) * 99)
                    continue
                if kind == "flood":
                    flood(connection, serials)
            descriptors = array.array("i")
            data = answer(kind, message).serialise(next(serials), descriptors)
            socket.send_fds(connection, [data], descriptors)
            for descriptor in descriptors:
                os.close(descriptor)


def handle(connection, kind):
    with connection, contextlib.suppress(OSError):
        serve(connection, kind)


def main():
    folder = pathlib.Path(os.environ["XDG_RUNTIME_DIR"], "zendra")
    folder.mkdir(mode=0o700, exist_ok=True)
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(str(folder / str(os.getpid())))
    listener.listen()
    while True:
        threading.Thread(target=handle, args=(listener.accept()[0], sys.argv[1]), daemon=True).start()


main()
