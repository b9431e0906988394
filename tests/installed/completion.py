#!/usr/bin/env python3
"""Completes lines in a shell, on a display with a window, a hooked program, and a file: completion.py SHELL SHARE PID"""
import os
import shlex
import sys

import pexpect

TITLE = 'Two "Words'
FILE = "log in.zs"

shell, share, process = sys.argv[1:]
command, setup = {
    "bash": ("bash --norc --noprofile -i", f"source {share}/bash-completion/completions/zendra"),
    "zsh": ("zsh -f -i", f"fpath=({share}/zsh/site-functions $fpath); autoload -Uz compinit; compinit -u -D"),
    "fish": ("fish --no-config -i", f"source {share}/fish/vendor_completions.d/zendra.fish"),
}[shell]
# What is typed, and the words that the shell makes of it.
cases = [
    ("clipb\tge\t", ["clipboard", "get"]),
    ("click --button=fo\t", ["click", "--button=forward"]),
    ("mouse --button mi\tup", ["mouse", "--button", "middle", "up"]),
    ("press capsl\t", ["press", "CapsLock"]),
    ("focus Tw\t", ["focus", TITLE]),
    ("--json click --window Tw\t 1 2", ["--json", "click", "--window", TITLE, "1", "2"]),
    ("--app \twhere", ["--app", process, "where"]),
    ("script lo\t", ["script", FILE]),
]

open(FILE, "w").close()
child = pexpect.spawn(command, encoding="utf-8", timeout=30, dimensions=(50, 200), env={**os.environ, "TERM": "dumb"})
child.sendline(f"{setup}; printf '<%s>' rea''dy")
child.expect_exact("<ready>")
failed = 0
for typed, expected in cases:
    # Ctrl+A puts printf before the line, which prints the words as the shell reads them.
    child.send(f"zendra {typed}\x01printf '<%s>' \r")
    words = "".join(f"<{word}>" for word in ["zendra"] + expected)
    if child.expect_exact([words, pexpect.TIMEOUT], timeout=10) != 0:
        print(f"{shell}: 'zendra {typed!r}' does not become {shlex.join(expected)}: {child.before!r}")
        child.send("\x03")
        failed = 1
child.close(force=True)
sys.exit(failed)
