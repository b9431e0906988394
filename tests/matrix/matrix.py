#!/usr/bin/python3
"""Types hard texts on many keyboard layouts into many programs, and compares what each program has received.

Every cell of the table has an X server of its own with the layout, and every run in it a program of its own. After
each text the keyboard must be as it was: its map, its locked modifiers and its group.
"""

import argparse
import concurrent.futures
import contextlib
import ctypes
import difflib
import fnmatch
import http.server
import os
import pathlib
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

from texts import TEXTS

HERE = pathlib.Path(__file__).resolve().parent
BUILD = pathlib.Path(os.environ.get("ZENDRA_BUILD", HERE.parent.parent / "build")).resolve()
BIN = BUILD / "bin"
ZENDRA = str(BIN / "zendra")
PAGE = HERE.parent.parent / "docs" / "typing-matrix.md"

# --- Keyboards --------------------------------------------------------------------------------------------------

# A name, the arguments of setxkbmap, and whether the second group and Caps Lock are locked.
LAYOUTS = {
    **{layout: (["-layout", layout], False, False) for layout in ("us", "de", "fr", "es", "gr", "ru", "us,gr")},
    "cz,ru second group": (["-layout", "cz,ru"], True, False),
    "us(dvorak)": (["-layout", "us", "-variant", "dvorak"], False, False),
    "us Caps Lock": (["-layout", "us"], False, True),
    "fr Caps Lock": (["-layout", "fr"], False, True),
}
CORE_KEYBOARD = 0x100
LOCK_MASK = 2


class Server:
    """An X server with a keyboard layout."""

    def __init__(self, stack, layout):
        arguments, second_group, caps_lock = LAYOUTS[layout]
        server = started(stack, ["Xvfb", "-noreset", "-nolisten", "tcp", "-displayfd", "1"],
                         stdout=subprocess.PIPE, text=True)
        self.name = ":" + server.stdout.readline().strip()
        self.environment = {
            **{name: value for name, value in os.environ.items()
               if name not in ("XMODIFIERS", "GTK_IM_MODULE", "QT_IM_MODULE")},
            "DISPLAY": self.name, "LC_ALL": "C.UTF-8", "QT_QPA_PLATFORM": "xcb", "GDK_BACKEND": "x11",
            "DBUS_SESSION_BUS_ADDRESS": "disabled:"}  # otherwise each toolkit starts a bus that stays
        subprocess.run(["setxkbmap", "-display", self.name, *arguments], check=True)
        self.x11 = ctypes.CDLL("libX11.so.6")
        self.x11.XOpenDisplay.restype = ctypes.c_void_p
        self.display = ctypes.c_void_p(self.x11.XOpenDisplay(self.name.encode()))
        stack.callback(self.x11.XCloseDisplay, self.display)
        self.x11.XkbLockGroup(self.display, CORE_KEYBOARD, int(second_group))
        self.x11.XkbLockModifiers(self.display, CORE_KEYBOARD, LOCK_MASK, LOCK_MASK if caps_lock else 0)
        self.x11.XSync(self.display, 0)

    def manage(self, stack):
        """Starts openbox, anew for each run: it is busy for seconds after many changes of the keymap."""
        # It prints a message for each key that a layout lacks, and must not write to a pipe that nobody reads.
        ready = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory()), "ready")
        started(stack, ["openbox", "--sm-disable", "--startup", f"touch {ready}"], env=self.environment)
        while not ready.exists():
            time.sleep(0.01)

    def nudge(self):
        """Sends openbox an event: at its start it at times sleeps over a window until the next one."""
        subprocess.run(["xprop", "-display", self.name, "-root", "-f", "NUDGE", "8s", "-set", "NUDGE", ""], check=True)

    def keyboard(self):
        """All that typing must leave alone."""
        state = ctypes.create_string_buffer(32)
        self.x11.XkbGetState(self.display, CORE_KEYBOARD, state)
        keymap = subprocess.run(["xkbcomp", self.name, "-"], capture_output=True, text=True, check=True).stdout
        return state.raw.hex(), keymap


def started(stack, command, **options):
    """A program of its own process group, which ends with the stack."""
    process = subprocess.Popen(list(map(str, command)), start_new_session=True,
                               **{"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, **options})

    def end():
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)  # openbox takes seconds to end after many changes of the keymap
        process.wait()
    stack.callback(end)
    return process


# --- Programs ---------------------------------------------------------------------------------------------------

WEB_PAGE = b"""<!doctype html><meta charset=utf-8><textarea autofocus></textarea><script>
const area = document.querySelector('textarea');
area.onkeydown = event => {
    if (event.key === 'Tab') { event.preventDefault(); document.execCommand('insertText', false, '\\t'); }
};
let sent = null, isPainted = false;
// Chromium drops keys before the first paint of a page, also when the page has the focus.
new PerformanceObserver(() => { isPainted = true; }).observe({type: 'paint', buffered: true});
(async function send() {
    if (isPainted && document.hasFocus() && area.value !== sent) {
        sent = area.value;
        await fetch('/', {method: 'POST', body: sent});
    }
    setTimeout(send, 20);
})();
</script>"""


def web_page(stack, file):
    """Serves a page with a text area, whose text comes to the file. Returns its address."""
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            self.answer(WEB_PAGE)

        def do_POST(self):
            file.write_bytes(self.rfile.read(int(self.headers["Content-Length"])))
            self.answer(b"")

        def answer(self, body):
            self.send_response(200)
            self.send_header("Content-Type", "text/html")
            self.send_header("Content-Length", str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    stack.callback(server.server_close)
    stack.callback(server.shutdown)
    return f"http://127.0.0.1:{server.server_port}/"


def chromium(stack, file):
    sandbox = ["--no-sandbox"] if os.geteuid() == 0 else []
    return ["chromium", *sandbox, "--no-first-run", "--allow-pre-commit-input", "--disable-gpu", "--disable-sync",
            "--password-store=basic", f"--user-data-dir={file.parent}", f"--app={web_page(stack, file)}"]


PROGRAMS = {
    "Xlib": lambda _, file: [BIN / "zendra-matrix-xlib", file],
    "Qt 5": lambda _, file: [BIN / "zendra-matrix-qt5", file],
    "Qt 6": lambda _, file: [HERE / "receiver.py", "qt6", file],
    "GTK 3": lambda _, file: [HERE / "receiver.py", "gtk3", file],
    "Tk 8.6": lambda _, file: [HERE / "receiver.py", "tk", file],
    "xterm": lambda _, file: ["xterm", "-u8", "-T", "terminal", "-e", f"stty raw -echo; exec cat >{file}"],
    "Chromium": chromium,
}


# --- Typing -----------------------------------------------------------------------------------------------------

DRIVERS = {"zendra": [ZENDRA, "type", "-"], "xdotool": ["xdotool", "type", "--delay", "0", "--file", "-"]}


def received(file):
    return file.read_bytes().decode("utf-8", "replace").replace("\r", "\n")


LATE = 5  # seconds without a change after which what still arrives counts as late
LOST = 30  # and after which nothing more is expected
LATE_TEXT = f"all arrived, but some after {LATE} seconds of nothing"


def await_text(file, start, expected):
    """What has arrived behind `start`, when it is complete or when nothing more arrives, and whether it was late."""
    quiet_since, last, is_late = time.monotonic(), None, False
    while True:
        text, quiet = received(file)[start:], time.monotonic() - quiet_since
        if text != last:
            is_late |= last is not None and quiet > LATE
            quiet_since, last, quiet = time.monotonic(), text, 0
        if text == expected or quiet > (0.5 if len(text) >= len(expected) else LOST):
            return text, is_late
        time.sleep(0.01)


def difference(expected, text, is_late):
    """How many characters differ and which is the first; None when all are the same and in time."""
    if text == expected:
        return LATE_TEXT if is_late else None
    changes = [change for change in difflib.SequenceMatcher(None, expected, text, autojunk=False).get_opcodes()
               if change[0] != "equal"]
    count = sum(max(change[2] - change[1], change[4] - change[3]) for change in changes)
    _, first, last, start, end = changes[0]
    return f"{count} of {len(expected)} differ, the first at {first}: " \
           f"{ascii(expected[first:last][:8])} arrived as {ascii(text[start:end][:8])}"


def focus_terminal(server):
    """xterm is the only one that does not say when it has the focus."""
    for _ in range(60):
        server.nudge()
        if all(subprocess.run([ZENDRA, *command, "terminal"], env=server.environment, capture_output=True,
                              check=False).returncode == 0
               for command in (["wait-window", "--timeout", "1"], ["focus"])):
            return True
    return False


def type_texts(server, program, texts, driver):
    """One run of a cell. Returns the seconds that typing took, and what went wrong, by text."""
    problems, seconds = {}, 0
    with contextlib.ExitStack() as stack:
        file = pathlib.Path(stack.enter_context(tempfile.TemporaryDirectory(ignore_cleanup_errors=True)), "received")
        server.manage(stack)
        process = started(stack, PROGRAMS[program](stack, file), env=server.environment)
        deadline = time.monotonic() + 60
        while not file.exists():
            if process.poll() is not None or time.monotonic() > deadline:
                return seconds, {"start": "the program did not get the focus"}
            server.nudge()
            time.sleep(0.1)
        if program == "xterm" and not focus_terminal(server):
            return seconds, {"start": "the terminal did not get the focus"}
        before = server.keyboard()
        for name, text in texts.items():
            start, begin = len(received(file)), time.monotonic()
            done = subprocess.run(["timeout", "180", *DRIVERS[driver]], input=text, capture_output=True, text=True,
                                  env=server.environment, check=False)
            seconds += time.monotonic() - begin
            if done.returncode != 0:
                said = done.stderr.strip().removeprefix("zendra: ")[:150]
                problems[name] = f"refused: {said or done.returncode}"
                await_text(file, start, text)
            elif problem := difference(text, *await_text(file, start, text)):
                problems[name] = problem
            after = server.keyboard()
            if after != before:
                problems[name] = problems.get(name, "all arrived") + "; the keyboard was left changed"
                before = after
    return seconds, problems


# --- The table --------------------------------------------------------------------------------------------------


class Cell:
    def __init__(self, layout, program, texts, runs, driver):
        self.problems, times = [], []
        with contextlib.ExitStack() as stack:
            server = Server(stack, layout)
            for _ in range(runs):
                try:
                    seconds, problems = type_texts(server, program, texts, driver)
                except (OSError, subprocess.SubprocessError) as failure:
                    seconds, problems = 0, {"start": str(failure)}
                times.append(seconds)
                self.problems.append(problems)
        self.seconds = statistics.median(times)
        failed = [problems for problems in self.problems if problems]
        self.name = f"{layout}, {program}"
        if not failed:
            self.text = "exact"
        elif all(p == LATE_TEXT for problems in failed for p in problems.values()):
            self.text = f"exact, late in {len(failed)}"
        elif len(failed) == runs and all(p.startswith("refused") for problems in failed for p in problems.values()):
            self.text = f"refuses {max(map(len, failed))} texts"
        else:
            self.text = f"{max(map(len, failed))} texts differ" + (f" in {len(failed)} runs" if runs > 1 else "")

    def details(self):
        """Each problem once, with the number of runs that had it."""
        lines = {}
        for problems in self.problems:
            for text, problem in problems.items():
                lines.setdefault((text, problem), []).append(1)
        return [f"{self.name}: {text}: {problem}" + (f" ({len(count)} of {len(self.problems)} runs)")
                for (text, problem), count in lines.items()]


def table(cells):
    layouts = list(dict.fromkeys(layout for layout, _ in cells))
    programs = list(dict.fromkeys(program for _, program in cells))
    rows = [["layout", *programs], *([layout, *(cells[layout, program].text for program in programs)]
                                     for layout in layouts)]
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |" for row in rows]
    return "\n".join([lines[0], "|" + "|".join("-" * (width + 2) for width in widths) + "|", *lines[1:]])


def write_page(cells, runs, load):
    """Replaces the part of the page that is about runs with, or without, load beside them."""
    title = "With all processors busy" if load else "On a machine with nothing else to do"
    commit = subprocess.run(["git", "-C", HERE, "log", "-1", "--format=%h of %as"],
                            capture_output=True, text=True, check=False).stdout.strip()
    details = [f"- {line}" for cell in cells.values() for line in cell.details()]
    part = f"{title}\n\nCommit {commit}, runs of each cell: {runs}.\n\n{table(cells)}\n"
    part += "\nWhat differs:\n\n" + "\n".join(details) + "\n" if details else ""
    head, *parts = PAGE.read_text().split("\n## ")
    kept = [other.rstrip("\n") + "\n" for other in parts if not other.startswith(title)]
    PAGE.write_text("\n## ".join([head.rstrip("\n") + "\n", *sorted([*kept, part], reverse=True)]))


def parsed_arguments():
    parser = argparse.ArgumentParser(description="Types hard texts on many layouts into many programs.")
    parser.add_argument("--layout", default="*", metavar="GLOB", help="only these layouts")
    parser.add_argument("--program", default="*", metavar="GLOB", help="only these programs")
    parser.add_argument("--text", default="*", metavar="GLOB", help="only these texts")
    parser.add_argument("--runs", type=int, default=1, metavar="N", help="run each cell N times")
    parser.add_argument("-j", "--jobs", type=int, default=1, metavar="N", help="this many cells at a time")
    parser.add_argument("--load", action="store_true", help="keep all processors busy meanwhile, with nice")
    parser.add_argument("--quick", action="store_true", help="two programs and three layouts; the tests call it")
    parser.add_argument("--driver", choices=DRIVERS, default="zendra", help="what types")
    return parser.parse_args()


def main():
    arguments = parsed_arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    layouts = fnmatch.filter(LAYOUTS, arguments.layout)
    programs = fnmatch.filter(PROGRAMS, arguments.program)
    texts = {name: text for name, text in TEXTS.items() if fnmatch.fnmatch(name, arguments.text)}
    if arguments.quick:
        layouts, programs = ["us", "cz,ru second group", "fr Caps Lock"], ["Xlib", "Qt 5"]
        texts["CJK"] = texts["CJK"][:410]
    is_whole = (layouts, programs, texts, arguments.driver) == (list(LAYOUTS), list(PROGRAMS), TEXTS, "zendra")
    def measure(place):
        cell = Cell(*place, texts, arguments.runs, arguments.driver)
        print(f"{cell.name}: {cell.text} ({cell.seconds:.1f} s)", *cell.details(), sep="\n    ", flush=True)
        return cell

    with contextlib.ExitStack() as stack:
        for _ in range(os.cpu_count() if arguments.load else 0):
            started(stack, ["nice", "sh", "-c", "while :; do :; done"])
        places = [(layout, program) for layout in layouts for program in programs]
        pool = stack.enter_context(concurrent.futures.ThreadPoolExecutor(arguments.jobs))
        cells = dict(zip(places, pool.map(measure, places)))
    print(table(cells))
    if is_whole:
        write_page(cells, arguments.runs, arguments.load)
    sys.exit(any(not cell.text.startswith("exact") for cell in cells.values()))


if __name__ == "__main__":
    main()
