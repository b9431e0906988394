"""Namespaces of one's own, and what runs, is shared and is shown inside them."""

import contextlib
import os
import pathlib
import signal
import subprocess
import time

from Xlib import display as xdisplay
from Xlib.error import DisplayConnectionError, DisplayNameError

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
BUILD = pathlib.Path(os.environ.get("ZENDRA_BUILD", ROOT / "build")).resolve()
ZENDRA = str(BUILD / "bin" / "zendra")
PRELOAD = {"LD_PRELOAD": str(BUILD / "lib" / "zendra" / "preload" / "libzendrapreload.so")}
MOVING = ["sh", "-c", "i=0; while :; do i=$((i + 1)); ls -l /etc | tail -n $((i % 30)); sleep 0.05; done"]
UNSHARE = ["unshare", "-m", "-p", "-i", "-n", "--fork", "--mount-proc", "--kill-child=KILL"]


def namespaces():
    """The command that gives a process namespaces of its own, or None and why there is none."""
    if BUILD.is_relative_to("/tmp"):
        return None, "the build is in /tmp, which is replaced"
    for how in (UNSHARE, [UNSHARE[0], "--map-root-user", *UNSHARE[1:]]):
        if subprocess.run([*how, "mount", "-t", "tmpfs", "tmpfs", "/mnt"], capture_output=True).returncode == 0:
            return how, ""
    return None, "namespaces are not allowed here"


def environment():
    """Replaces /tmp, /mnt and what X servers share, goes to an empty folder and returns the environment of programs there."""
    for number in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):  # nohup and "&" would pass on what they ignore
        signal.signal(number, signal.SIG_DFL)
    for folder in ("/mnt", "/tmp", "/var/lib/xkb"):  # the last has keyboard maps by the server's number
        if os.path.isdir(folder):
            subprocess.run(["mount", "-t", "tmpfs", "-o", "mode=1777", "tmpfs", folder], check=True)
    os.mkdir("/tmp/run", 0o700)
    os.mkdir("/tmp/work")
    os.chdir("/tmp/work")
    kept = {name: value for name, value in os.environ.items() if name not in ("DBUS_SESSION_BUS_ADDRESS", "XAUTHORITY")}
    return {**kept, "DISPLAY": ":0", "XDG_RUNTIME_DIR": "/tmp/run", "HOME": "/mnt", "LC_ALL": "C.UTF-8",
            "QT_QPA_PLATFORM": "xcb"}


def start(command, env, **more):
    return subprocess.Popen(command, env={**env, **more}, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.DEVNULL)


def start_server(*arguments):
    """An X server at display :0, once it accepts connections."""
    server = subprocess.Popen(
        ["Xvfb", ":0", "-displayfd", "1", "-noreset", "-nolisten", "tcp", "-screen", "0", "800x600x24", *arguments],
        stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
    if not server.stdout.readline():
        raise RuntimeError("Xvfb did not start")
    return server


def start_moving(env):
    """A window that changes all the time."""
    return start(["xterm", "-geometry", "100x30", "-e", *MOVING], env)


def await_that(condition, seconds, interval=0.02):
    deadline = time.monotonic() + seconds
    while not (result := condition()) and time.monotonic() < deadline:
        time.sleep(interval)
    return result


def stat_of(process_id):
    """The state, parent and processor time of a process; None where it has ended."""
    with contextlib.suppress(OSError):
        fields = pathlib.Path(f"/proc/{process_id}/stat").read_text().rpartition(")")[2].split()
        if fields[0] not in "ZX":
            return fields[0], int(fields[1]), int(fields[11]) + int(fields[12])
    return None


def name_of(process_id):
    with contextlib.suppress(OSError):
        return pathlib.Path(f"/proc/{process_id}/comm").read_text().strip()
    return ""


def processes():
    return {int(name): stat for name in os.listdir("/proc") if name.isdigit() and (stat := stat_of(name))}


def descendants(roots, running):
    """The processes given and all below them."""
    found = set(roots)
    while more := {pid for pid, stat in running.items() if stat[1] in found} - found:
        found |= more
    return found


def files():
    """All files in /tmp but those of the X server."""
    found = {pathlib.Path(folder, name) for folder, _, names in os.walk("/tmp") for name in names}
    return {path for path in found if path.parts[:3] != ("/", "tmp", ".X11-unix") and not path.match("/tmp/.X*-lock")}


def memory_segments():
    """The System V shared memory, a line for each segment."""
    return pathlib.Path("/proc/sysvipc/shm").read_text().splitlines()[1:]


def connected():
    """A connection to the X server, or None where it is refused."""
    with contextlib.suppress(DisplayConnectionError, DisplayNameError, OSError):
        return xdisplay.Display(":0")
    return None


def plays(path):
    """Whether a film or picture has pictures, all of which decode."""
    done = subprocess.run(["ffmpeg", "-v", "error", "-i", str(path), "-f", "framemd5", "-"], capture_output=True, text=True)
    return done.returncode == 0 and not done.stderr and any(not line.startswith("#") for line in done.stdout.splitlines())
