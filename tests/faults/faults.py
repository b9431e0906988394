#!/usr/bin/python3 -B
"""Stages faults around the command, each in namespaces of its own, and compares what comes of it with table.py.

    faults.py [--quick] [--jobs N] [--list] [ROW-GLOB ...]

Processes, System V memory, /tmp and the network of a row are its own, so that whatever is left there was left by the
command. Ends with status 1 where a row is not as expected.
"""

import argparse
import concurrent.futures
import contextlib
import fnmatch
import json
import os
import pathlib
import random
import re
import resource
import shlex
import signal
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "support"))
import isolation  # noqa: E402
import table  # noqa: E402
from isolation import BUILD, PRELOAD, ZENDRA, await_that, connected, name_of, stat_of  # noqa: E402

SLACK = 1.5  # seconds that a loaded machine takes beside
SETTLE = 4  # seconds for what the command leaves to end by itself


# --- Rows -------------------------------------------------------------------------------------------------------


def command_names():
    done = subprocess.run([ZENDRA, "--complete", ""], capture_output=True, text=True, check=True)
    return done.stdout.split()


def line_of(command):
    """How a command runs; one that the table does not list, with the arguments of its help's first example."""
    if command in table.ARGUMENTS:
        return f"{command} {table.ARGUMENTS[command]}"
    text = subprocess.run([ZENDRA, "help", command], capture_output=True, text=True, check=True).stdout
    return re.search(r"^Examples\n\s+zendra (.*)$", text, re.MULTILINE)[1]


def all_rows():
    rows = [row for command in command_names() for row in table.rows_of_each(command, line_of(command))]
    named = {row.name: row for row in rows + table.ROWS}
    assert len(named) == len(rows) + len(table.ROWS), "two rows have the same name"
    return named


# --- One row, inside its namespaces -----------------------------------------------------------------------------


class Run:
    """A command at work: its status, standard error, time and memory."""

    def __init__(self, arguments, prefix, stdin, environment):
        self.errors = tempfile.TemporaryFile(dir="/mnt")
        self.start = time.monotonic()
        with open(stdin, "rb") as source:
            # Kept: one that is dropped is waited for when the next one starts.
            self.process = subprocess.Popen([*prefix, ZENDRA, *arguments], stdin=source, stdout=subprocess.DEVNULL,
                                            stderr=self.errors, env=environment)
        self.id = self.process.pid
        self.status = None

    def has_ended(self):
        if self.status is None:
            found, status, usage = os.wait4(self.id, os.WNOHANG)
            if found:
                self.seconds, self.memory = time.monotonic() - self.start, usage.ru_maxrss // 1024
                self.status = os.waitstatus_to_exitcode(status)
        return self.status is not None

    def is_idle(self):
        """Whether it has ended, or used no processor time for a while after it has started."""
        if self.has_ended():
            return True
        stat = stat_of(self.id)
        now = (stat and stat[0], stat and stat[2])
        if now != getattr(self, "seen", None):
            self.seen, self.since = now, time.monotonic()
        return now[0] == "S" and time.monotonic() - self.since > 0.3

    def text(self):
        self.errors.seek(0)
        return self.errors.read().decode(errors="replace")


class Stage:
    def __init__(self, row, materials):
        self.row = row
        self.failures = []
        self.fillers = []
        files = {file.name: file.read_bytes() for file in pathlib.Path(materials).iterdir()}
        self.environment = isolation.environment()
        if row.disk:
            subprocess.run(["mount", "-t", "tmpfs", "-o", f"size={row.disk}", "tmpfs", "/tmp/work"], check=True)
            os.chdir("/tmp/work")
        for name, contents in files.items():
            if not row.disk or name in row.command:
                pathlib.Path(name).write_bytes(contents)
        if "fifo" in row.command:
            os.mkfifo("fifo.zrle")
        if table.NOBODY in row.prefix:
            for path in ("/tmp/work", "/tmp/run"):
                os.chown(path, 65534, 65534)
        self.server = isolation.start_server(*row.server.split())
        if row.moving:
            isolation.start_moving(self.environment)
        self.application = self.start_application(row.application) if row.application else None
        self.known = set(isolation.processes())
        self.files = isolation.files()

    def start_application(self, kind):
        commands = {"xterm": ["xterm"], "form": [str(BUILD / "bin" / "zendra-example-form")]}
        program = isolation.start(commands.get(kind, [sys.executable, str(HERE / "hostile.py"), kind]), self.environment,
                                  **(PRELOAD if kind in commands else {}))
        self.socket = pathlib.Path("/tmp/run/zendra", str(program.pid))
        if not await_that(self.socket.exists, 30):
            raise RuntimeError(f"{kind} does not listen")
        return program

    # Steps

    def step(self, words, run=None):
        verb, _, what = words.partition(" ")
        if verb in ("stop", "kill"):
            number = signal.SIGSTOP if verb == "stop" else signal.SIGKILL
            for process in self.target(what, run):
                os.kill(process, number)
                if verb == "stop":
                    await_that(lambda: (stat_of(process) or "T")[0] == "T", 9)
        elif verb == "wait":
            await_that(run.has_ended, float(what))
        elif verb == "moment":
            await_that(run.has_ended, random.uniform(0, 0.12))
        elif verb == "fill":
            if what == "disk":
                with open("filler", "wb", buffering=0) as file, contextlib.suppress(OSError):
                    while file.write(bytes(4096)):
                        pass
                self.files = isolation.files()
                return
            while (connection := connected()) is not None:
                self.fillers.append(connection)
            for _ in range(int(what.rpartition(" ")[2]) if what != "server" else 0):
                self.fillers.pop().close()
        else:
            raise RuntimeError(f"unknown step '{words}'")

    def target(self, what, run):
        if what == "headless":
            mine = isolation.descendants({run.id}, isolation.processes())
            return [pid for pid in mine if name_of(pid) == "Xvfb"]
        return [(self.server if what == "server" else self.application).pid]

    def expect(self, condition, text):
        if not condition:
            self.failures.append(text)
        return condition

    # What must hold afterwards

    def run(self, signal_name=""):
        row = self.row
        line = row.command.replace("APP", str(self.application.pid) if self.application else "")
        for words in row.before:
            self.step(words)
        run = Run(shlex.split(line), shlex.split(row.prefix), row.stdin, self.environment)
        if row.during or signal_name:
            if "moment" not in row.during:
                await_that(run.is_idle, 3)
            for words in row.during:
                self.step(words, run)
            run.start = time.monotonic()
            if signal_name and not run.has_ended():
                os.kill(run.id, getattr(signal, f"SIG{signal_name}"))
        what = f"{signal_name}: " if signal_name else ""
        if not self.expect(await_that(run.has_ended, row.seconds + SLACK),
                           f"{what}still runs after {row.seconds + SLACK} s"):
            os.kill(run.id, signal.SIGKILL)
            await_that(run.has_ended, 9)
        else:
            statuses = [*row.status]
            if signal_name and (signal_name == "KILL" or "moment" in row.during):
                statuses += [-getattr(signal, f"SIG{signal_name}"), 0]
            self.expect(run.status in statuses, f"{what}status {run.status}, not {row.status}: {run.text()[-300:]!r}")
        what = f"{what}status {run.status}, "
        # A program that is run has lines of its own.
        lines = [text for text in run.text().splitlines() if "xterm" not in row.command or text.startswith("zendra:")]
        self.expect(len(lines) <= 1, f"{what}{len(lines)} lines on standard error: {run.text()[:400]!r}")
        self.expect(all(text.isprintable() for text in lines), f"{what}controls on standard error: {run.text()[:200]!r}")
        self.expect(run.memory <= row.memory, f"{what}{run.memory} MB of memory")
        self.examine(what, run, holds=row.holds or signal_name == "KILL" or run.status == -9)
        return run

    def examine(self, what, run, holds):
        for process in (self.application, self.server):
            with contextlib.suppress(ProcessLookupError):
                if process is not None:
                    os.kill(process.pid, signal.SIGCONT)
        for connection in self.fillers:
            connection.close()
        self.fillers = []

        left = await_that(lambda: not self.left_processes(), SETTLE) or self.left_processes()
        self.expect(left is True, f"{what}leaves processes: {left}")
        for process in () if left is True else left:
            with contextlib.suppress(ProcessLookupError):
                os.kill(process, signal.SIGKILL)
        if stat_of(self.server.pid) and connected() is not None:
            self.expect(holds or await_that(lambda: not self.held(), 1), f"{what}holds down {self.held()}")
        self.expect(await_that(lambda: not isolation.memory_segments(), SETTLE), f"{what}leaves shared memory")
        self.examine_files(what, killed=run.status == -9)

    def left_processes(self):
        running = isolation.processes()
        left = running.keys() - isolation.descendants(self.known - {1}, running) - {1}
        return {pid: name_of(pid) for pid in left if name_of(pid)}

    @staticmethod
    def held():
        """Keys and buttons that the server has as down."""
        server = connected()
        keys = [number for number in range(256) if server.query_keymap()[number // 8] >> number % 8 & 1]
        buttons = server.screen().root.query_pointer().mask & 0x1f00
        server.close()
        return [*keys, *([f"buttons {buttons:#x}"] if buttons else [])]

    def examine_files(self, what, killed):
        met = set()
        subprocess.run([ZENDRA, "apps"], env=self.environment, capture_output=True)  # removes the sockets of programs that a signal ended
        for path in sorted(isolation.files() - self.files):
            wanted = next((check for pattern, check in self.row.leaves.items() if path.match(pattern)), "")
            if path.match("/tmp/xterm*/*") or (killed and path.is_relative_to("/tmp/run")):
                path.unlink()
                continue
            self.expect(wanted, f"{what}leaves {path}")
            if wanted == "plays":
                self.expect(isolation.plays(path), f"{what}{path.name} does not play")
            elif wanted == "decodes":
                done = subprocess.run([ZENDRA, "convert", path, "/mnt/copy.mkv"], capture_output=True, text=True)
                self.expect(done.returncode == 0, f"{what}{path.name} does not decode: {done.stderr}")
            path.unlink()
            met.add(wanted)
        self.expect(met >= set(self.row.leaves.values()) - {"any"}, f"{what}no file that plays or decodes")


def inside(name, materials):
    row = all_rows()[name]
    report = {"failures": [], "seconds": 0, "memory": 0}
    try:
        stage = Stage(row, materials)
        for signal_name in row.signals or ("",):
            run = stage.run(signal_name)
            report["seconds"] = max(report["seconds"], round(run.seconds, 1))
            report["memory"] = max(report["memory"], run.memory)
            report["outcome"] = f"status {run.status} {run.text().strip().splitlines()[-1:]}"
        report["failures"] = stage.failures
    except Exception as error:  # a row that cannot be staged is a failed one
        report["failures"] = [f"cannot be staged: {type(error).__name__}: {error}"]
    print(json.dumps(report), flush=True)


# --- All rows ---------------------------------------------------------------------------------------------------


def materials_in(folder):
    for name, text in table.MATERIALS.items():
        pathlib.Path(folder, name).write_text(text)
    pathlib.Path(folder, "huge.zrle").write_bytes(table.HUGE)
    # A picture that the screen does not look like, and a short recording.
    subprocess.run([ZENDRA, "--headless=800x600", "run", "--record", f"{folder}/film.zrle", "--script", "-", "--",
                    "xterm", "-e", *isolation.MOVING], check=True, stderr=subprocess.DEVNULL,
                   input=f"wait 1500\nscreenshot '{folder}/ref.png'\n".encode())


def run_row(row, how, materials):
    if table.NOBODY in row.prefix and os.geteuid() != 0:
        return {"skipped": "another user's limits need root"}
    done = subprocess.run([*how, sys.executable, "-B", __file__, "--inside", row.name, "--materials", materials],
                          capture_output=True, text=True)
    with contextlib.suppress(ValueError, IndexError):
        return json.loads(done.stdout.splitlines()[-1])
    return {"failures": [f"no result, status {done.returncode}: {done.stderr[-500:]}"], "seconds": 0, "memory": 0}


def report_of(row, result):
    if "skipped" in result:
        print(f"skipped  {row.name}: {result['skipped']}", flush=True)
    elif result["failures"]:
        steps = "; ".join([*row.before, "START", *row.during, *(["each of " + " ".join(row.signals)] * bool(row.signals))])
        print(f"FAILED   {row.name}")
        for text in result["failures"]:
            print(f"           {text}")
        print(f"           {row.prefix} zendra {row.command}".replace("  ", " ") + f"   [{steps}]")
        print(f"           to reproduce: ./dev faults {shlex.quote(row.name)}", flush=True)
    else:
        print(f"ok       {row.name} ({result['seconds']:.1f} s, {result['memory']} MB): {result['outcome'][:160]}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("globs", nargs="*", metavar="ROW-GLOB")
    parser.add_argument("--quick", action="store_true", help="about a third of the faults, for each change")
    parser.add_argument("--list", action="store_true", help="prints the rows")
    parser.add_argument("--jobs", type=int, default=2 * os.cpu_count(),
                        help="how many at once; most wait")
    parser.add_argument("--inside", help=argparse.SUPPRESS)
    parser.add_argument("--materials", help=argparse.SUPPRESS)
    options = parser.parse_args()
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    if options.inside:
        inside(options.inside, options.materials)
        return 0
    rows = [row for row in all_rows().values() if (row.quick or not options.quick)
            and (not options.globs or any(fnmatch.fnmatchcase(row.name, glob) for glob in options.globs))]
    if options.list:
        print(*(row.name for row in rows), sep="\n")
        return 0
    if not rows:
        sys.exit("faults: no row has this name; --list prints them")
    how, reason = isolation.namespaces()
    if how is None:
        print(f"skipped: {reason}")
        return 0
    start = time.monotonic()
    with tempfile.TemporaryDirectory() as materials:
        materials_in(materials)
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            pending = {pool.submit(run_row, row, how, materials): row for row in rows}
            results = []
            for done in concurrent.futures.as_completed(pending):
                report_of(pending[done], done.result())
                results.append(done.result())
    failed = sum(bool(result.get("failures")) for result in results)
    skipped = sum("skipped" in result for result in results)
    print(f"{len(results)} rows: {len(results) - failed - skipped} as expected, {failed} failed, {skipped} skipped; "
          f"{time.monotonic() - start:.0f} s")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
