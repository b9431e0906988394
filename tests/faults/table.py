"""What is expected of the command under each fault: the one table that faults.py works through.

A row stages a fault and names what must come of it. Whatever the row, nothing may stay behind: no process, shared
memory, socket or undeclared file, no key or button held down; and standard error has one line at most.
"""

import struct
from dataclasses import dataclass, field

# What each command runs with; one that is not listed runs the first example of its help. A long wait, so that a fault
# finds the command at work.
ARGUMENTS = {
    "type": "'hello world'",
    "keys": "'hello<Ctrl+a>'",
    "press": "'<Shift>'",
    "release": "'<Shift>'",
    "send-to": "none text",
    "mouse": "up",
    "drop": "10 10 300 300 --ctrl",
    "clipboard": "get",
    "screenshot": "out.png",
    "highlight": "10,10,90,90 --tooltip text --for 20",
    "wait-window": "none --timeout 20",
    **{command: "none --timeout 20" for command in ("focus", "close-window", "maximize", "minimize", "restore")},
    "move-window": "none 1 1 --timeout 20",
    "resize-window": "none 9 9 --timeout 20",
    "expect-screen": "ref.png --timeout 20",
    "expect-clipboard": "none --timeout 20",
    "expect-file": "none --timeout 20",
    "wait-stable": "--for 20000 --timeout 30",
    "record": "out.mkv --for 20",
    "convert": "fifo.zrle out.mkv",
    "script": "steps.zs",
    "wait": "20000",
    "start": "sleep 20",
    "exec": "'exec sleep 20'",
    "step": "title",
    "test": "steps.zs",
    "run": "-- sh -c 'exec xterm 2>/dev/null'",
}
MATERIALS = {"steps.zs": "press '<Shift>'\nmouse down\nwait 20000\n",
             "check.zs": "screenshot out.png\nexpect-screen ref.png --timeout 9\n",
             "work.zs": "press '<Shift>'\nmouse down\nmouse up\nrelease '<Shift>'\ntype text\n",
             "hold.zs": "press '<Shift>'\nmouse down\nwait 1000\ntype text\n"}
# A recording of 67 million pixels whose size changes with each of its pictures.
HUGE = b"".join(struct.pack(">7I", 1, 0, 0, 8192 - i % 2, 8191 + i % 2, 1 << 16, 1 << 16)
                + struct.pack(">9I", 2, 0, 1, 200, i, i, i + 1, i + 1, 1 << 24 | i + 1) for i in range(6))
# A session bus that ends while it starts leaves its socket.
OUTPUTS = {"/tmp/dbus-*": "any", "out.png": "any", "out.mkv": "any", "out.gif": "any", "ref-*.png": "any"}
HOLDS = {"press"}  # leaves a key down when it has succeeded
WITHOUT_DISPLAY = {"convert", "wait", "apps", "expect-file", "start", "exec", "step", "chapter", "test"}
WITHOUT_APPLICATION = {*WITHOUT_DISPLAY, "run", "record"}  # read the display, or nothing at all

EXTENSIONS = ("XTEST", "DAMAGE", "RANDR", "MIT-SHM", "Composite", "XInputExtension", "RENDER", "SHAPE")
# Xvfb cannot run without XKEYBOARD, and aborts without XFIXES.


@dataclass
class Row:
    name: str
    command: str  # as typed behind "zendra"; APP is the application's process id
    status: tuple = (0,)
    seconds: float = 3  # from the last step of `during`, or from the start
    before: tuple = ()  # steps before the command starts: see Stage in faults.py
    during: tuple = ()  # steps once it is at work, or blocked
    signals: tuple = ()  # instead of one run one for each, and the signal as the last step of `during`
    server: str = ""  # arguments of Xvfb
    application: str = ""  # xterm, form, or a kind of hostile.py
    moving: bool = False  # whether the screen changes all the time
    prefix: str = ""  # a command in front, for limits
    stdin: str = "/dev/null"
    disk: str = ""  # the size of the folder that the command works in
    leaves: dict = field(default_factory=dict)  # file pattern: any, plays, decodes
    holds: bool = False  # whether keys may stay down
    memory: int = 400  # MB at the most
    quick: bool = False


ENDED = (1, 3)  # by a signal, or for want of an answer
SIGNALS = ("INT", "TERM", "HUP", "KILL")
NOBODY = "setpriv --reuid 65534 --regid 65534 --clear-groups "
FILMS = {"out.mkv": "plays"}


def rows_of_each(command, line):
    """Rows that every command has."""
    # A test's home folder is that of the process that is killed.
    homes = {"/tmp/zendra-*/*/*/*": "any"} if command == "test" else {}
    common = {"holds": command in HOLDS, "leaves": {**OUTPUTS, **homes}}
    if command not in WITHOUT_DISPLAY:
        yield Row(f"server stopped, signals/{command}", line, ENDED, before=("stop server",), signals=SIGNALS,
                  quick=command in ("type", "record", "run"), **common)
        yield Row(f"server killed/{command}", line, (3, 4), before=("stop server",), during=("kill server",),
                  quick=command in ("drop", "script"), **common)
        yield Row(f"server refuses/{command}", line, (3,), before=("fill server",), seconds=13,
                  quick=command == "where", **common)
    else:
        yield Row(f"signals/{command}", line, (0, 1), signals=SIGNALS, seconds=3, quick=command == "convert", **common)
    yield Row(f"signals at any time/{command}", line, (0, 1, 3, 15, 143), signals=SIGNALS,
              during=("moment",), **common)
    if command not in WITHOUT_APPLICATION:
        remote = f"--app APP {line}"
        yield Row(f"application stopped, signals/{command}", remote, ENDED, application="xterm",
                  before=("stop application",), signals=SIGNALS, quick=command in ("drop",), **common)
        yield Row(f"application killed/{command}", remote, (1, 3, 4), application="xterm", before=("stop application",),
                  during=("kill application",), quick=command in ("type",), **common)
        yield Row(f"application silent/{command}", remote, (1, 3, 4), 30, application="silent", **common)


EACH_EXTENSION = [
    row for extension in EXTENSIONS for row in (
        Row(f"without {extension}/info", "info", server=f"-extension {extension}", quick=extension == "XTEST"),
        Row(f"without {extension}/screenshot", "screenshot out.png", leaves={"out.png": "plays"},
            server=f"-extension {extension}"),
        Row(f"without {extension}/type", "type hello", server=f"-extension {extension}"),
        Row(f"without {extension}/record", "record out.mkv --for 1",
            (1,) if extension in ("DAMAGE", "MIT-SHM") else (0,), 6, server=f"-extension {extension}",
            moving=True, leaves={} if extension in ("DAMAGE", "MIT-SHM") else FILMS),
    )
]

ROWS = [
    *EACH_EXTENSION,

    # The X server
    Row("server stopped/timeout", "wait-window none --timeout 2", (1, 3), 6, before=("stop server",), quick=True),
    Row("server stopped/remote timeout", "--app APP wait-window none --timeout 2", (1, 3), 6, application="xterm",
        before=("stop server",)),
    Row("server killed/film", "record out.mkv --for 20", (4,), moving=True, during=("wait 2", "kill server"),
        leaves=FILMS, quick=True),
    Row("server killed/lossless recording", "record out.zrle --for 20", (4,), moving=True,
        during=("wait 2", "kill server"), leaves={"out.zrle": "decodes"}),
    Row("server killed/check in a run", "--headless=800x600 run --script check.zs -- xterm", (4,),
        during=("wait 1", "kill headless"), leaves=OUTPUTS),
    Row("server refuses/second connection", "type hello", (0, 3), before=("fill server but 1",), seconds=13, quick=True),
    Row("headless server stopped/screenshot", "--headless wait 20000", ENDED, during=("stop headless",),
        signals=("TERM",), quick=True),
    Row("headless server killed/record", "--headless record out.mkv --for 20", (1, 4),
        during=("wait 1", "kill headless"), leaves=OUTPUTS),
    Row("headless, signals/record", "--headless record out.mkv --for 20", (0, 1), signals=SIGNALS, leaves=OUTPUTS),

    # The application
    Row("application stopped/type", "--app APP type hello", (1, 3, 4), 30, application="xterm",
        before=("stop application",)),
    Row("application stopped/drop", "--app APP drop 10 10 300 300 --ctrl", (1, 3, 4), 30, application="xterm",
        during=("stop application",)),
    Row("application stopped/screenshot", "--app APP screenshot out.png", (1, 3, 4), 30, application="form",
        before=("stop application",), leaves=OUTPUTS),
    Row("application killed/held keys", "--app APP script hold.zs", (4,), application="xterm",
        during=("kill application",), quick=True),
    Row("application killed/held keys in Qt", "--app APP script hold.zs", (4,), application="form",
        during=("kill application",)),
    Row("application stopped/held keys", "--app APP script hold.zs", (1,), application="xterm",
        during=("stop application",), signals=("INT",)),
    Row("application killed at work/drop", "--app APP drop 10 10 300 300 --ctrl", (4,), application="xterm",
        during=("kill application",)),
    Row("application killed at work/drag", "--app APP drag 10 10 300 300 --shift", (0, 3, 4), application="xterm",
        during=("moment", "kill application")),
    Row("program ends/check in a run", "run --script check.zs -- xterm -e sh -c 'until [ -e out.png ]; do sleep 0.1; done; kill -9 $PPID'", (1, 4), 9,
        leaves=OUTPUTS, quick=True),
    *(Row(f"application {kind}/{name}", f"--app APP {line}", status, 30, application=kind, leaves=OUTPUTS,
          quick=name == "screenshot" and kind in ("escapes", "sparse"))
      for kind, status in (("flood", (0, 1, 3, 4)), ("stranger", (3,)), ("nonsense", (1, 3, 4)), ("garbage", (4,)),
                           ("sparse", (1, 4)), ("escapes", (1, 3, 4)))
      for name, line in (("screenshot", "screenshot out.png"), ("type", "type hello"), ("where", "where"),
                         ("windows", "windows"))
      if kind != "sparse" or name == "screenshot"),
    *(Row(f"application recorder/{name}", f"--app APP record {name} --for 1", (0, 1, 4), 6, application="recorder",
          leaves={name: "any"}) for name in ("out.mkv", "out.zrle")),
    Row("application escapes/apps", "apps", application="escapes", quick=True),
    Row("application flood/apps", "apps", application="flood", seconds=6),

    # Signals while keys and a button are held down
    Row("held keys, signals/display", "script steps.zs", (1,), signals=("INT", "TERM", "HUP"), quick=True),
    *(Row(f"held keys, signals/{kind}", "--app APP script steps.zs", (1,), application=kind,
          signals=("INT", "TERM", "HUP")) for kind in ("xterm", "form")),

    # Disk and limits. A limit ends the command with one line; what is in the file by then is whole.
    *(Row(f"disk full/{name}", f"record {name} --for 25 {options}", (1,), 32, disk="600K", moving=True,
          leaves={name: check}, quick=name == "out.zrle")
      for name, options, check in (("out.zrle", "--fps 60", "decodes"), ("out.mkv", "--lossless", "plays"),
                                   ("out.mp4", "", "plays"))),
    Row("disk full/screenshot", "screenshot out.png", (1,), disk="600K", before=("fill disk",)),
    *(Row(f"hostile file/{name}", f"convert huge.zrle {name}", (0,), 60, leaves={name: "any"}, memory=memory)
      for name, memory in (("out.gif", 900), ("out.mkv", 1000))),
    Row("hostile file, signals", "convert huge.zrle out.mkv", (0, 1), 3, signals=("INT",), leaves=OUTPUTS, memory=1000),
    Row("disk full/convert", "convert film.zrle out.gif", (1,), 15, disk="1M", before=("fill disk",),
        leaves=OUTPUTS),
    *(Row(f"FSIZE/{name}", f"record {name} --for 9", (1,), 15, prefix=f"prlimit --fsize={limit}", moving=True,
          leaves={name: check}, quick=True)
      for name, check, limit in (("out.zrle", "decodes", 100_000), ("out.mkv", "plays", 400_000))),
    # With 16 the X server has no descriptor left for the application, which waits for it: 30 seconds and two to clean up.
    *(Row(f"NOFILE {limit}/{name}", line, (0, 1, 3, 4), 34 if name == "run" else 20, prefix=f"prlimit --nofile={limit}", leaves=OUTPUTS,
          quick=limit == 8 and name == "script")
      for limit in (8, 12, 16) for name, line in (
          ("screenshot", "screenshot out.png"), ("record", "record out.mkv --for 1"), ("type", "type hello"),
          ("clipboard", "clipboard get"), ("script", "script --record out.mkv work.zs"),
          ("run", "--headless run --script work.zs -- xterm"))),
    *(Row(f"NPROC/{name}", line, status, 20, prefix=f"{NOBODY} prlimit --nproc=1", leaves=OUTPUTS,
          quick=name == "script")
      for name, line, status in (("script", "script --record out.mkv work.zs", (0, 1)),
                                 ("clipboard", "clipboard set text", (1,)), ("run", "run -- xterm", (1, 3)),
                                 ("headless", "--headless where", (1, 3)), ("record", "record out.mkv --for 1", (0, 1)),
                                 ("screenshot", "screenshot out.png", (0, 1)))),
    *(Row(f"AS/{name}", line, (0, 1, 3), 20, prefix="prlimit --as=200000000", leaves=OUTPUTS, quick=name == "record")
      for name, line in (("record", "record out.mkv --for 1"), ("screenshot", "screenshot out.png"),
                         ("convert", "convert film.zrle out.gif"), ("clipboard", "clipboard get"))),
    Row("endless input/type", "type -", (1, 2), 20, stdin="/dev/zero", quick=True),
    Row("endless input/script", "script -", (1, 2), 20, stdin="/dev/zero"),
    Row("endless input/clipboard", "clipboard set -", (1, 2), 20, stdin="/dev/zero"),
    Row("killed/film", "record out.mkv --for 20", (), moving=True, during=("wait 3",), signals=("KILL",), leaves=FILMS),
    Row("killed/lossless recording", "record out.zrle --for 20", (), moving=True, during=("wait 2",),
        signals=("KILL",), leaves={"out.zrle": "decodes"}, quick=True),
    Row("Ctrl+C/film", "record out.mkv --for 20", (0,), moving=True, during=("wait 2",), signals=("INT", "TERM", "HUP"),
        leaves=FILMS),
]
