#!/usr/bin/python3 -B
"""Runs scripts, drags, pictures, films and hooks in a loop and compares resources at the start and at the end.

    soak.py MINUTES | --quick

On a display of its own live two applications with the hook inside, a command that works through a long script and one
that records. Around them commands start and end. Fails where the memory, descriptors or threads of a process that
lives all the time have grown, or shared memory, files, or what the server keeps.
"""

import collections
import os
import pathlib
import signal
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))
import isolation  # noqa: E402
from isolation import BUILD, PRELOAD, ZENDRA, await_that  # noqa: E402

# Growth that is none: allocators and caches take more before they settle, and windows change what they show.
TOLERATED = {"memory kB": 6 * 1024, "server's pixmaps kB": 256, "server's resources": 16}

STEPS = {"step.zs": "move 100 100\nkeys '<Ctrl+a>'\ntype 'soak '\nkeys '<Shift+a><BackSpace>'\nclick 200 200\ndrag 50 50 200 100 --ctrl\n"
                    "screenshot --area 0,0,200,200 step.png\nwhere\nwait 20\n"}
# A round. APP is an application with the hook inside, by turns.
COMMANDS = [
    "script step.zs", "--app APP script step.zs", "--app APP screenshot app.png", "--app APP type 'from inside'",
    "--app APP highlight 10,10,90,90 --for 0.1", "highlight 10,10,90,90 --tooltip text --for 0.1",
    "drop 60 60 300 300 --ctrl", "--app APP drop 60 60 300 300", "clipboard set text", "clipboard get", "info", "apps",
    "windows", "wait-window no-such-title --timeout 0.2", "record film.zrle --for 0.5", "record film.mkv --for 0.5",
    "--app APP record film.mp4 --format h264 --for 0.5", "convert film.zrle film.gif", "convert film.zrle copy.mkv",
    "script --record script.mp4 step.zs", "--headless screenshot headless.png",
    "run --headless --script step.zs --record run.mp4 -- xterm",
]
QUICK = ["script step.zs", "--app APP script step.zs", "--app APP highlight 10,10,90,90 --for 0.1",
         "record film.mkv --for 0.2", "--app APP screenshot app.png", "clipboard set text"]
MAY_FAIL = ("wait-window",)


class Soak:
    def __init__(self, minutes):
        self.environment = isolation.environment()
        for name, text in STEPS.items():
            pathlib.Path(name).write_text(text)
        pathlib.Path("long.zs").write_text("".join(
            f"move {i % 700} {i % 500}\nwait 50\nscreenshot --area 0,0,90,90 long.png\n"
            for i in range(int(1200 * (minutes + 3)))))
        self.server = isolation.start_server()
        isolation.start_moving(self.environment)
        terminal = isolation.start(["xterm", "-geometry", "40x10+300+300"], self.environment, **PRELOAD)
        form = isolation.start([str(BUILD / "bin" / "zendra-example-form")], self.environment, **PRELOAD)
        self.applications = [terminal, form]
        for program in self.applications:
            if not await_that(lambda: pathlib.Path("/tmp/run/zendra", str(program.pid)).exists(), 30):
                raise RuntimeError("a hook did not start")
        self.script = isolation.start([ZENDRA, "script", "long.zs"], self.environment)
        self.record = isolation.start([ZENDRA, "record", "long.mkv"], self.environment)
        await_that(lambda: pathlib.Path("long.png").exists() and pathlib.Path("long.mkv").exists(), 30)
        self.count = 0
        self.rounds = 0

    def round(self, commands):
        self.rounds += 1
        for line in commands:
            application = str(self.applications[(self.count + self.rounds) % 2].pid)
            done = subprocess.run(f"exec {ZENDRA} {line.replace('APP', application)}", shell=True, env=self.environment,
                                  capture_output=True, text=True)
            self.count += 1
            if done.returncode != 0 and not line.startswith(MAY_FAIL):
                self.require_lasting()
                sys.exit(f"soak: 'zendra {line}' ended with status {done.returncode}: {done.stderr.strip()}")

    def lasting(self):
        return {"server": self.server, "hook in xterm": self.applications[0], "hook in a Qt program": self.applications[1],
                "long script": self.script, "long recording": self.record}

    def require_lasting(self):
        for name, process in self.lasting().items():
            if process.poll() is not None:
                sys.exit(f"soak: {name} has ended with status {process.returncode}")

    def sample(self):
        self.require_lasting()
        values = {}
        for name, process in self.lasting().items():
            folder = pathlib.Path("/proc", str(process.pid))
            status = dict(line.split(":", 1) for line in (folder / "status").read_text().splitlines())
            values[f"{name}: memory kB"] = int(status["VmRSS"].split()[0])
            values[f"{name}: descriptors"] = len(os.listdir(folder / "fd"))
            values[f"{name}: threads"] = int(status["Threads"])
        values["shared memory segments"] = len(isolation.memory_segments())
        values["files"] = len(isolation.files())
        values["processes with the command's name"] = sum(
            isolation.name_of(process) == "zendra" for process in isolation.processes())
        return {**values, **server_resources()[0]}

    def end(self):
        """The two long commands end well, and their film plays."""
        for process, status in ((self.record, 0), (self.script, 1)):
            process.send_signal(signal.SIGINT)
            if process.wait(30) != status:
                sys.exit(f"soak: after Ctrl+C the status was {process.returncode}, not {status}")
        if not isolation.plays("long.mkv"):
            sys.exit("soak: the long film does not play")


def what_there_is():
    """Files, and the resources of each client by their kind, to name what has grown."""
    return collections.Counter(map(str, isolation.files())) + server_resources()[1]


def server_resources():
    """What clients keep at the server, by the X-Resource extension: the sums, and how many of each kind."""
    from Xlib.ext import res
    connection = isolation.connected()
    res.QueryVersion(display=connection.display, opcode=connection.display.get_extension_major("X-Resource"),
                     client_major=1, client_minor=2)
    clients = connection.res_query_clients().clients
    kinds, pixmaps = collections.Counter(), 0
    for client in clients:
        if client.resource_base != connection.display.info.resource_id_base:
            ids = connection.res_query_client_ids([{"client": client.resource_base, "mask": res.LocalClientPIDMask}]).ids
            name = f"{isolation.name_of(ids[0].value[0]) if ids else 'the server'} ({client.resource_base:#x})"
            for kind in connection.res_query_client_resources(client.resource_base).types:
                kinds[f"{connection.get_atom_name(kind.resource_type)} of {name}"] += kind.count
            pixmaps += connection.res_query_client_pixmap_bytes(client.resource_base).bytes
    connection.close()
    return {"server's clients": len(clients) - 1, "server's resources": sum(kinds.values()),
            "server's pixmaps kB": pixmaps // 1024}, kinds


def settled(soak):
    """The lowest of a few samples: a script or recording holds things for moments."""
    samples = []
    for _ in range(8):
        samples.append(soak.sample())
        time.sleep(0.1)
    return {name: min(sample[name] for sample in samples) for name in samples[0]}


def inside(minutes):
    commands = COMMANDS if minutes else QUICK
    soak = Soak(minutes)
    # What is made once and kept. Some of it comes late: Qt keeps cursors and windows, as those of menus and drags, and which
    # of them a click or a drag needs depends on the windows that are in its way.
    warm = time.monotonic() + 60 * minutes / 3
    while soak.rounds < 2 or time.monotonic() < warm:
        soak.round(commands)
    before, start, begun, there = settled(soak), time.monotonic(), soak.count, what_there_is()
    soak.round(commands)
    while time.monotonic() - start < 60 * minutes * 2 / 3:
        soak.round(commands)
    after = settled(soak)
    print(f"{soak.count - begun} commands in {time.monotonic() - start:.0f} s")
    print(f"{'':38}{'start':>10}{'end':>10}")
    grown = 0
    for name in before:
        tolerated = next((value for unit, value in TOLERATED.items() if name.endswith(unit)), 0)
        grows = after[name] > before[name] + tolerated
        grown += grows
        print(f"{name:38}{before[name]:10}{after[name]:10}{'  GROWS' if grows else ''}")
    if grown:
        print("new:", *(f"{count} {name}" for name, count in (what_there_is() - there).items()), sep="\n  ")
    soak.end()
    return 1 if grown else 0


def main():
    arguments = sys.argv[1:]
    if len(arguments) == 2 and arguments[0] == "--inside":
        return inside(float(arguments[1]))
    if len(arguments) != 1 or not (arguments[0] == "--quick" or arguments[0].replace(".", "", 1).isdigit()):
        sys.exit("Usage: soak.py MINUTES | --quick")
    how, reason = isolation.namespaces()
    if how is None:
        print(f"skipped: {reason}")
        return 0
    minutes = "0" if arguments[0] == "--quick" else arguments[0]
    return subprocess.run([*how, sys.executable, "-B", __file__, "--inside", minutes]).returncode


sys.exit(main())
