#!/usr/bin/env python3
"""Measures zendra beside its peers on a display of its own and prints one table.

Whole commands run in turns under hyperfine, so that a busy moment of the machine meets both; what is compared is the
median. Functions come from zendra-bench, which names its cases "WHAT/zendra" and "WHAT/BESIDE WHAT". What was typed is
compared with what a window received: a command that drops keys fails here instead of winning.

Everything, the display's server included, runs on one processor. Left free, a client and its server at times share a
core and at times wake each other across cores, and a round trip costs one or ten times as much by chance alone;
--all-cores shows that.

A new measurement is a function that yields rows, listed in MEASUREMENTS.

--quick runs each of them once and judges nothing: the tests call it, so that no measurement breaks unnoticed.
"""

import argparse
import contextlib
import functools
import json
import os
import pathlib
import re
import shlex
import statistics
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass

BUILD = pathlib.Path(os.environ.get("ZENDRA_BUILD", pathlib.Path(__file__).parent.parent / "build")).resolve()
ZENDRA = str(BUILD / "bin" / "zendra")
SENTENCE = 'The Quick Brown Fox (aged 13) jumps over 2 lazy dogs; "why?", asks nobody. '
ONE_KEY = "one key, whole process"
# Cases of zendra-bench that show what is on the screen, those that need an application, and the others.
OF_THE_SCREEN = "the screen/"
REMOTE = "remotely/"
OTHERS = f"-{OF_THE_SCREEN}|{REMOTE}"
TEXT = (SENTENCE * 20)[:999]  # the Enter that ends the line is the thousandth
# Characters that no key of the layout has, and the same text with one of them in every sixteenth place.
LACKED = "".join(map(chr, (*range(0xC0, 0xD4), *range(0x3B1, 0x3BB), *range(0x410, 0x41A), *range(0x4E00, 0x4E14))))
LACKED_TEXT = "".join(LACKED[i // 16] if i % 16 == 15 and i // 16 < len(LACKED) else character
                      for i, character in enumerate(TEXT))
QUICK = "--quick" in sys.argv[1:]


def usually(value, quick=1):
    """A number of rounds, or of seconds, and what takes its place with --quick."""
    return quick if QUICK else value


@dataclass
class Row:
    """A measurement of ours beside a peer's; without a peer `wanted` is a bound for ours alone."""

    what: str
    ours: float
    peer: str = ""
    theirs: float | None = None
    unit: str = "ms"
    wanted: float | None = None

    def cells(self):
        ratio = None if self.theirs is None else self.ours / self.theirs
        judged = self.ours if ratio is None else ratio
        wanted = "" if self.wanted is None else f"{'' if ratio is None else '× '}{self.wanted:g} or less"
        if self.wanted is not None and not QUICK:
            wanted += ": met" if judged <= self.wanted else ": MISSED"
        theirs = "" if self.theirs is None else f"{self.theirs:.2f} {self.unit}"
        return (self.what, f"{self.ours:.2f} {self.unit}", self.peer, theirs,
                "" if ratio is None else f"× {ratio:.2f}", wanted)


class Failure(Exception):
    pass


# --- A display and a window to type into ------------------------------------------------------------------------


@contextlib.contextmanager
def running(command, **options):
    process = subprocess.Popen(command, **options)
    try:
        yield process
    finally:
        process.terminate()
        process.wait()


def await_that(condition, failure):
    deadline = time.monotonic() + 30
    while not condition():
        if time.monotonic() > deadline:
            raise Failure(failure)
        time.sleep(0.01)


@contextlib.contextmanager
def display():
    """A server of its own in DISPLAY, without a window manager."""
    server = ["Xvfb", "-noreset", "-displayfd", "1", "-screen", "0", "1920x1080x24", "-nolisten", "tcp"]
    with running(server, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True) as process, \
            tempfile.TemporaryDirectory() as runtime_folder:
        number = process.stdout.readline().strip()
        if not number:
            raise Failure("Xvfb did not start")
        os.environ["DISPLAY"] = f":{number}"
        os.environ["XDG_RUNTIME_DIR"] = runtime_folder  # with the hooks' sockets
        yield


class Sink:
    """A window with the focus that remembers what was typed, line by line."""

    def __init__(self, log, process):
        self.log = log
        self.process = process

    def lines(self):
        return pathlib.Path(self.log.name).read_text().splitlines()[1:]

    def expect(self, line, count):
        """Waits until `count` lines have come, which must all read `line`, and forgets them."""
        with contextlib.suppress(Failure):  # the comparison tells more
            await_that(lambda: len(self.lines()) >= count, "lines are missing")
        received = self.lines()
        if received != [line] * count:
            raise Failure(f"typed {count} times {line!r}, received {received}")


@contextlib.contextmanager
def sink(start=running):
    with tempfile.NamedTemporaryFile("w") as log:
        with start([str(BUILD / "bin" / "zendra-bench-sink")], stdout=log) as process:
            await_that(lambda: pathlib.Path(log.name).read_text() == "ready\n",
                       "the window to type into did not open")
            yield Sink(log, process)


@contextlib.contextmanager
def hooked(command, **options):
    """A program with the hook inside."""
    preload = str(BUILD / "lib" / "zendra" / "preload" / "libzendrapreload.so")
    with running(command, env={**os.environ, "LD_PRELOAD": preload, "QT_QPA_PLATFORM": "xcb"}, **options) as program:
        socket = pathlib.Path(os.environ["XDG_RUNTIME_DIR"], "zendra", str(program.pid))
        await_that(socket.exists, f"the hook in {command[0]} did not start")
        yield program


@contextlib.contextmanager
def hooked_form():
    """The example form in the lower right corner, and where its first field is."""
    with tempfile.TemporaryDirectory() as folder:
        places = pathlib.Path(folder, "places")
        with hooked([str(BUILD / "bin" / "zendra-example-form"), "--place", "1300,600,560,400",
                     "--widgets", str(places)]) as form:
            await_that(places.exists, "the form did not open")
            time.sleep(usually(1, 0.1))  # for it to be drawn
            field = json.loads(places.read_text())["name"]
            yield form, (field["x"] + 20, field["y"] + 15)


def hooked_terminal():
    return hooked(["xterm", "-geometry", "40x8+1300+800"])


def remotely(program, *command):
    return [ZENDRA, "--app", str(program.pid), *command]


@contextlib.contextmanager
def windows_of_text():
    """Six terminals side by side, full of a program's source."""
    source = shlex.quote(str(pathlib.Path(__file__).resolve()))
    with contextlib.ExitStack() as windows, tempfile.TemporaryDirectory() as folder:
        for number in range(6):
            drawn = pathlib.Path(folder, str(number))
            windows.enter_context(running([
                "xterm", "-fa", "DejaVu Sans Mono", "-fs", "9",
                "-geometry", f"88x36+{number % 3 * 640}+{number // 3 * 540}", "-e", "sh", "-c",
                f"tail -n +{number * 60 + 1} {source} | head -n 35; touch {drawn}; exec sleep 600"]))
            await_that(drawn.exists, "a terminal did not open")
        time.sleep(usually(1, 0.1))  # for the last lines to be drawn
        yield


@contextlib.contextmanager
def scrolling_terminal():
    """One terminal of 100 by 40 characters in which ten lines a second come."""
    source = shlex.quote(str(pathlib.Path(__file__).resolve()))
    with running(["xterm", "-fa", "DejaVu Sans Mono", "-fs", "9", "-geometry", "100x40+200+100", "-e", "sh", "-c",
                  f"while :; do while read -r line; do echo \"$line\"; sleep 0.1; done < {source}; done"]):
        time.sleep(usually(5, 0.1))  # until it is full
        yield


@contextlib.contextmanager
def scrolling_photograph():
    with running([str(BUILD / "bin" / "zendra-bench-backdrop"), "--scroll"], stdout=subprocess.PIPE) as backdrop:
        backdrop.stdout.readline()  # it scrolls
        yield


@contextlib.contextmanager
def photograph():
    output_of([str(BUILD / "bin" / "zendra-bench-backdrop")])
    yield


# --- Measuring --------------------------------------------------------------------------------------------------


@contextlib.contextmanager
def on_all_processors():
    """The recorder, the server and the program that draws need more than one processor's time together."""
    pinned = os.sched_getaffinity(0)
    os.sched_setaffinity(0, range(os.cpu_count()))
    try:
        yield
    finally:
        os.sched_setaffinity(0, pinned)


def output_of(command, **options):
    done = subprocess.run(command, capture_output=True, text=True, **options)
    if done.returncode != 0:
        raise Failure(f"{shlex.join(command)[:200]} ended with status {done.returncode}: {done.stderr.strip()}")
    return done.stdout


def medians(*commands, rounds, prepare=None):
    """Runs the commands in turns; the median of each in milliseconds. The first round is for warming up."""
    turns = [shlex.join(command) for _ in range(rounds + 1) for command in commands]
    preparation = [] if prepare is None else ["--prepare", shlex.join(prepare)]
    with tempfile.NamedTemporaryFile("r", suffix=".json") as report:
        output_of(["hyperfine", "--shell=none", "--style=none", "--runs=1", "--export-json", report.name,
                   *preparation, *turns])
        times = [result["times"][0] * 1000 for result in json.load(report)["results"]]
    return [statistics.median(times[len(commands) + i::len(commands)]) for i in range(len(commands))]


def resources(command):
    """The processor seconds that a command takes, user and system, and its peak memory in MB."""
    done = subprocess.run(["/usr/bin/time", "-f", "%U %S %M", *command], capture_output=True, text=True)
    if done.returncode != 0:
        raise Failure(f"{shlex.join(command)[:200]} ended with status {done.returncode}: {done.stderr.strip()}")
    user, system, kilobytes = done.stderr.splitlines()[-1].split()
    return float(user) + float(system), int(kilobytes) / 1024


def peak_memory(command):
    """In MB, the median of several runs. GNU time is small enough not to be measured in the command's place."""
    peaks = []
    for _ in range(usually(5)):
        done = subprocess.run(["/usr/bin/time", "-f", "%M", *command], capture_output=True, text=True, check=True)
        peaks.append(int(done.stderr.split()[-1]) / 1024)
    return statistics.median(peaks)


def linking_cycles():
    """What the dynamic linker takes before main, in processor cycles: the median of several runs."""
    def once():
        done = subprocess.run([ZENDRA, "--version"], env={**os.environ, "LD_DEBUG": "statistics"},
                              capture_output=True, text=True)
        return int(re.search(r"total startup time in dynamic loader: (\d+) cycles", done.stderr)[1])
    return statistics.median(once() for _ in range(usually(11)))


@functools.cache
def functions(wanted=OTHERS, application="", repetitions=usually(7, 2), seconds=usually(0.1, 0.001)):
    """The cases of zendra-bench: {what: [(whose, median, unit), ...]}, and the processor's cycles in a millisecond."""
    report = json.loads(output_of([
        str(BUILD / "bin" / "zendra-bench"), "--benchmark_format=json",
        f"--benchmark_repetitions={repetitions}", f"--benchmark_min_time={seconds}",
        "--benchmark_enable_random_interleaving=true",
        "--benchmark_report_aggregates_only=true", f"--benchmark_filter={wanted}"],
        env={**os.environ, "ZENDRA_BENCH_APP": application}))
    cases = {}
    for case in report["benchmarks"]:
        if case.get("error_occurred"):
            raise Failure(f"{case['run_name']}: {case['error_message']}")
        if case["aggregate_name"] == "median":
            what, whose = case["run_name"].removesuffix("/real_time").split("/")
            cases.setdefault(what, []).append((whose, case["real_time"], case["time_unit"]))
    return cases, report["context"]["mhz_per_cpu"] * 1000


def function(what, whose, wanted=OTHERS):
    """The median of one case of zendra-bench, which is among those wanted."""
    return next(time for name, time, _ in functions(wanted)[0][what] if name.startswith(whose))


# --- The measurements -------------------------------------------------------------------------------------------


def typing():
    rounds = usually(10)
    commands = {"type": [ZENDRA, "type", TEXT + "\n"], "keys": [ZENDRA, "keys", TEXT + "<Enter>"]}
    with sink() as window:
        *ours, theirs = medians(
            *commands.values(), ["xdotool", "type", "--delay", "0", TEXT + "\n"], rounds=rounds)
        window.expect(TEXT, 3 * (rounds + 1))
    for name, time_taken in zip(commands, ours):
        yield Row(f"1,000 characters ({name}), whole process", time_taken, "xdotool type --delay 0", theirs,
                  wanted={"type": 0.67, "keys": 0.5}[name])


def typed(window, command, rounds):
    """The median time of a command that types LACKED_TEXT, in milliseconds, and how often it arrived whole."""
    times, whole = [], 0
    for _ in range(rounds):
        before = len(window.lines())
        start = time.monotonic()
        output_of(command)
        times.append((time.monotonic() - start) * 1000)
        with contextlib.suppress(Failure):
            await_that(lambda: len(window.lines()) > before, "the line did not end")
        whole += window.lines()[before:] == [LACKED_TEXT]
    return statistics.median(times), whole


def lacked_characters():
    """Characters that the layout lacks: what arrives counts as well."""
    assert sum(character in LACKED for character in LACKED_TEXT) == 60
    with sink() as window:
        peers = {"xdotool type --delay 0": (["--delay", "0"], usually(10), 1), "xdotool type": ([], usually(3), None)}
        for name, (options, rounds, wanted) in peers.items():
            ours, whole = typed(window, [ZENDRA, "type", LACKED_TEXT + "\n"], rounds)
            if whole != rounds:
                raise Failure(f"the text arrived whole {whole} times of {rounds}")
            theirs, whole = typed(window, ["xdotool", "type", *options, LACKED_TEXT + "\n"], rounds)
            yield Row("1,000 characters, 60 of them without a key", ours, f"{name} (whole {whole} times of {rounds})",
                      theirs, wanted=wanted)


def one_key():
    rounds = usually(40)
    with sink() as window:
        ours, theirs, undelayed = medians(
            [ZENDRA, "keys", "a"], ["xdotool", "key", "a"], ["xdotool", "key", "--delay", "0", "a"], rounds=rounds)
        output_of(["xdotool", "key", "Return"])
        window.expect("a" * 3 * (rounds + 1), 1)
    yield Row(ONE_KEY, ours, "xdotool key", theirs, wanted=0.5)
    # xdotool waits 12 ms behind a key unless told otherwise.
    yield Row(ONE_KEY, ours, "xdotool key --delay 0", undelayed)


def pointer_moves():
    places = [(10 + i, 20 + i % 700) for i in range(1000)]
    end = "x:{} y:{} ".format(*places[-1])
    with tempfile.NamedTemporaryFile("w", suffix=".zs") as script:
        script.writelines(f"move {x} {y}\n" for x, y in places)
        script.flush()
        ours_command = [ZENDRA, "script", script.name]
        theirs_command = ["xdotool", *(word for x, y in places for word in ("mousemove", str(x), str(y)))]
        for command in ours_command, theirs_command:
            output_of(["xdotool", "mousemove", "0", "0"])
            output_of(command)
            if end not in output_of(["xdotool", "getmouselocation"]):
                raise Failure(f"{command[0]} did not leave the pointer at {end}")
        ours, theirs = medians(ours_command, theirs_command, rounds=usually(10))
    yield Row("1,000 pointer moves, whole process", ours, "1,000 mousemove in one xdotool", theirs, wanted=1)


def screenshots():
    for picture, scene in (("text", windows_of_text), ("photo", photograph)):
        with scene(), tempfile.TemporaryDirectory() as folder:
            yield from screenshots_of(picture, pathlib.Path(folder))
            if scene is windows_of_text:
                yield from grabs_of_text(pathlib.Path(folder))


def screenshots_of(picture, folder):
    """A whole screen as a PNG file, by each command."""
    files = [folder / f"{name}.png" for name in ("zendra", "maim", "scrot")]
    ours, *theirs = medians([ZENDRA, "screenshot", str(files[0])], ["maim", "-u", str(files[1])],
                            ["scrot", "--overwrite", str(files[2])], rounds=usually(10))
    our_size, *their_sizes = (file.stat().st_size / 1e6 for file in files)
    for peer, time_taken, size in zip(("maim -u", "scrot"), theirs, their_sizes):
        yield Row(f"screenshot, {picture}, whole process", ours, peer, time_taken, wanted=1)
        yield Row(f"screenshot, {picture}, size of the PNG", our_size, peer, size, unit="MB")


def grabs_of_text(folder):
    """What a screenshot is made of, and ten in one script beside ten times that."""
    with tempfile.NamedTemporaryFile("w", suffix=".zs") as script:
        script.writelines(f"screenshot {folder}/{number}.png\n" for number in range(10))
        script.flush()
        (ten,) = medians([ZENDRA, "script", script.name], rounds=usually(10))
    grab, bare, encode = (function(*case, OF_THE_SCREEN) for case in (
        ("grab the screen", "zendra"), ("grab the screen", "XGetImage"), ("encode the screen", "zendra")))
    yield Row("grab the screen", grab, "XGetImage, memcpy", bare, wanted=1.3)
    # The process and ten files come on top.
    yield Row("ten screenshots in one script, text", ten, "10 × (XGetImage, memcpy, PNG in memory)",
              10 * (bare + encode), wanted=1.1)


def memory():
    with sink() as window:
        ours = peak_memory([ZENDRA, "keys", TEXT + "<Enter>"])
        theirs = peak_memory(["xdotool", "type", "--delay", "0", TEXT + "\n"])
        window.expect(TEXT, 2 * usually(5))
    yield Row("peak memory of typing", ours, unit="MB", wanted=40)
    yield Row("peak memory of typing", ours, "xdotool type", theirs, unit="MB")


def in_process():
    cases_of_all = functions()[0]
    if json.loads(output_of([ZENDRA, "--json", "info"]))["pressed"]:
        raise Failure("zendra-bench left a key down")
    for what, cases in sorted(cases_of_all.items()):
        (_, ours, unit), (peer, theirs, _) = sorted(cases, key=lambda case: not case[0].startswith("zendra"))
        yield Row(what, ours, peer, theirs, unit, ENCODER_BOUNDS.get(what))


def recordings():
    """Some seconds of a screen by each recorder: processor seconds, peak memory, and the file's size."""
    with on_all_processors(), tempfile.TemporaryDirectory() as folder:
        for scene, drawing, bounds in RECORDED_SCENES:
            with drawing():
                yield from recordings_of(scene, bounds, pathlib.Path(folder))


def recording_commands(folder):
    record = ["record", "--fps", "25", "--for", str(RECORDED_SECONDS)]
    return {"zrle": [ZENDRA, *record, str(folder / "rle.zrle")],
            "mp4": [ZENDRA, *record, "--format", "h264", str(folder / "h264.mp4")],
            "mkv, lossless": [ZENDRA, *record, "--lossless", str(folder / "lossless.mkv")]}


def recordings_of(scene, bounds, folder):
    peer = "ffmpeg x11grab"
    ours = recording_commands(folder)
    commands = {**ours, peer: ["ffmpeg", "-loglevel", "error", "-y", "-f", "x11grab", "-framerate", "25", "-i", os.environ["DISPLAY"],
               "-t", str(RECORDED_SECONDS), "-c:v", "libx264", "-preset", "ultrafast", "-tune", "zerolatency", "-threads", "1",
               str(folder / "ffmpeg.mp4")]}
    used = {name: [resources(command) for _ in range(RECORDING_ROUNDS)] for name, command in commands.items()}
    seconds, memory = ({name: statistics.median(run[i] for run in runs) for name, runs in used.items()} for i in (0, 1))
    sizes = {name: pathlib.Path(command[-1]).stat().st_size / 1e6 for name, command in commands.items()}
    for name in ours:
        what = f"record {RECORDED_SECONDS} s of {scene} to .{name}"
        yield Row(f"{what}: CPU", seconds[name] * 1000, peer, seconds[peer] * 1000, wanted=bounds.get(name))
        yield Row(f"{what}: peak memory", memory[name], peer, memory[peer], unit="MB")
        yield Row(f"{what}: size", sizes[name], peer, sizes[peer], unit="MB")


def remote_moves():
    """On one processor, where all that the three processes do adds up, and on all, as people use it. Where the system
    puts them changes all the time, so that both are measured in many short turns."""
    for where, processors, wanted in (("on one processor, ", contextlib.nullcontext, 8), ("", on_all_processors, None)):
        with processors(), hooked_terminal() as terminal, hooked_form() as (form, _):
            for name, program in (("a pure X program", terminal), ("a Qt program", form)):
                cases = functions(REMOTE, str(program.pid), usually(51, 2), usually(0.01, 0.001))[0]
                times = {whose: time for whose, time, _ in cases["move the pointer remotely"]}
                yield Row(f"one move, {where}remote, {name}", times["zendra"], "XQueryPointer", times["XQueryPointer"],
                          unit="us", wanted=wanted)


def remote_typing():
    peer = ["xdotool", "type", "--delay", "0"]
    rounds = usually(10)
    with sink(hooked) as window:
        ours, theirs = medians(
            remotely(window.process, "type", TEXT + "\n"), [*peer, TEXT + "\n"], rounds=rounds)
        window.expect(TEXT, 2 * (rounds + 1))
    yield Row("1,000 characters, remote, a pure X program", ours, shlex.join(peer), theirs, wanted=1)
    with hooked_form() as (form, field), tempfile.NamedTemporaryFile("w", suffix=".zs") as script:
        output_of(remotely(form, "click", *map(str, field)))
        # What is typed replaces what was there. The pause is for what the form had yet to do.
        script.write("keys <Ctrl+a>\nwait 300\n")
        script.flush()
        prepare = [ZENDRA, "script", script.name]
        commands = remotely(form, "type", TEXT), [*peer, TEXT]
        for command in commands:
            output_of(prepare)
            output_of(command)
            output_of([ZENDRA, "keys", "<Ctrl+a><Ctrl+c>"])
            await_that(lambda: output_of(remotely(form, "clipboard", "get")).rstrip("\n") == TEXT,
                       f"{command[0]} did not type the text")
            output_of(remotely(form, "clipboard", "set", ""))
        ours, theirs = medians(*commands, rounds=rounds, prepare=prepare)
    yield Row("1,000 characters, remote, a Qt program", ours, shlex.join(peer), theirs, wanted=1)


def remote_screenshots():
    with windows_of_text(), hooked_terminal() as terminal, hooked_form() as (form, _), \
            tempfile.TemporaryDirectory() as folder:
        command = ["screenshot", f"{folder}/screen.png"]
        *ours, local = medians(
            remotely(terminal, *command), remotely(form, *command), [ZENDRA, *command], rounds=usually(10))
    for name, time_taken in zip(("a pure X program", "a Qt program"), ours):
        yield Row(f"screenshot, text, remote, {name}", time_taken, "zendra screenshot", local, wanted=1.5)


@contextlib.contextmanager
def accessible(*command):
    """Runs a program with a session bus and an accessibility bus of its own, until it has registered there."""
    with contextlib.ExitStack() as stack:
        settings = {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "GTK_MODULES": "gail:atk-bridge",
                    "HOME": stack.enter_context(tempfile.TemporaryDirectory(ignore_cleanup_errors=True))}
        bus = stack.enter_context(running(["dbus-daemon", "--session", "--nofork", "--print-address"],
                                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True))
        os.environ["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
        stack.callback(os.environ.pop, "DBUS_SESSION_BUS_ADDRESS")
        launcher = ["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"]
        stack.enter_context(running(launcher, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        await_that(lambda: "AT_SPI_BUS" in output_of(["xprop", "-root"]), "the accessibility bus did not start")
        program = stack.enter_context(running(command, env={**os.environ, **settings}, stdout=subprocess.DEVNULL,
                                              stderr=subprocess.DEVNULL))
        tree = [ZENDRA, "tree", "--in", str(program.pid)]
        await_that(lambda: len(subprocess.run(tree, capture_output=True, check=False).stdout.splitlines()) > 20,
                   f"{command[0]} did not register on the accessibility bus")
        yield program


def elements():
    """Finding elements by name, whole processes, beside a script that does the same with Atspi and xdotool."""
    rounds = usually(15)
    with accessible("kcalc"):
        ours, theirs = medians([ZENDRA, "click", 'push-button "8"'], [*ATSPI_PEER, "click", "kcalc", "push button", "8"],
                               rounds=rounds)
        yield Row("find and click a button of kcalc", ours, "Atspi, xdotool", theirs, wanted=0.2)
    with accessible("mousepad", "--disable-server"):
        ours, theirs = medians([ZENDRA, "tree"], [*ATSPI_PEER, "tree", "mousepad"], rounds=rounds)
        yield Row("the tree of mousepad", ours, "Atspi", theirs, wanted=0.2)
    with accessible(str(BUILD / "bin" / "zendra-bench-table")):
        (ours,) = medians([ZENDRA, "move", 'cell "7 in 3"'], rounds=rounds)
        yield Row("find one of 10,000 cells", ours, wanted=300)


# How much the encoder may take, as a ratio to what it is measured beside.
ENCODER_BOUNDS = {
    "encode an unchanged frame": 1.5, "encode a frame of a new colour": 2, "encode a new page of text": 0.33,
    "encode a frame of noise": 0.5}
ATSPI_PEER = [str(pathlib.Path(__file__).parent / "atspi_peer.py")]
# What is recorded, and how much of ffmpeg's processor time may be used for it.
RECORDED_SCENES = [
    ("a still screen", windows_of_text, {"zrle": 0.02, "mp4": 0.1}),
    ("a scrolling terminal", scrolling_terminal, {"zrle": 0.1, "mp4": 0.5}),
    ("a scrolling photograph", scrolling_photograph, {"zrle": 1.2, "mp4": 1})]
RECORDING_ROUNDS = usually(3)
RECORDED_SECONDS = usually(10)
MEASUREMENTS = [one_key, typing, lacked_characters, pointer_moves, screenshots, memory, in_process, recordings,
                remote_moves, remote_typing, remote_screenshots, elements]


def where_one_key_goes(one_key_row):
    """What one key costs from the start of the process to its end."""
    linking = linking_cycles() / functions()[1]
    (start,) = medians([ZENDRA, "--version"], rounds=usually(40))
    connection = function("open a display", "XOpenDisplay") / 1000
    key_map = function("build the key map", "zendra") / 1000
    keys = function("type one character", "zendra") / 1000
    rest = one_key_row.ours - start - 2 * connection - key_map - keys
    print(f"\nWhere the {one_key_row.ours:.2f} ms of one key go:")
    for time_spent, what in (
            (linking, "dynamic linking before main (by LD_DEBUG=statistics)"),
            (start - linking, "the rest of a process that does nothing (zendra --version): exec, pages, Qt, exit"),
            (2 * connection, "two connections: one that checks the display, one that stays"),
            (key_map, "the keyboard map"),
            (keys, "the key itself: three round trips and its events"),
            (rest, "the rest: loading the plug-in and its libraries, and their end")):
        print(f"  {time_spent:6.2f} ms  {what}")


def print_table(rows):
    head = ("measured", "zendra", "beside", "", "ratio", "wanted")
    cells = [head, *(row.cells() for row in rows)]
    widths = [max(len(line[i]) for line in cells) for i in range(len(head))]
    for number, line in enumerate(cells):
        print("| " + " | ".join(
            cell.rjust(width) if i in (1, 3, 4) and number else cell.ljust(width)
            for i, (cell, width) in enumerate(zip(line, widths))) + " |")
        if number == 0:
            print("|" + "|".join("-" * (width + 2) for width in widths) + "|")


def main():
    parser = argparse.ArgumentParser(description="Measures zendra beside its peers and prints one table.")
    parser.add_argument("--quick", action="store_true", help="run everything once, and judge no number")
    parser.add_argument("--all-cores", action="store_true", help="leave it to the system what runs where")
    names = [measure.__name__ for measure in MEASUREMENTS]
    parser.add_argument("name", nargs="*", help=f"what to measure, all unless given: {', '.join(names)}")
    arguments = parser.parse_args()
    if not set(arguments.name) <= set(names):
        parser.error(f"only these can be measured: {', '.join(names)}")
    if not arguments.all_cores:
        os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    busy = os.getloadavg()[0]
    if busy > 1.2 and not QUICK:
        print(f"The machine is busy (load {busy:.1f}): what follows is worth little.", file=sys.stderr)
    with display():
        rows = []
        for measure in MEASUREMENTS:
            if arguments.name and measure.__name__ not in arguments.name:
                continue
            print(f"measuring: {measure.__name__.replace('_', ' ')} …", file=sys.stderr)
            rows.extend(measure())
        print_table(rows)
        if QUICK:
            print("\nOne round of each: these numbers show that the measurements work, nothing else.")
            return
        for row in rows:
            if row.peer == "xdotool key":
                where_one_key_goes(row)


if __name__ == "__main__":
    try:
        main()
    except Failure as failure:
        sys.exit(f"bench: {failure}")
