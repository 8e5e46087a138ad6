#!/usr/bin/python3
"""Prints a script's effects for people: into a pipe, and on a terminal.

Usage: check_timeline.py REPLAY SCRIPT. What is expected stands beside the script, in its
name.timeline.
"""
import os
import pathlib
import re
import subprocess
import sys

replay, script = sys.argv[1], pathlib.Path(sys.argv[2])


def on_terminal(**environment):
    """What a terminal gets, which ends each line with a carriage return too."""
    ours, theirs = os.openpty()
    run = subprocess.Popen([replay, "--timeline", script], stdout=theirs,
                           env={**os.environ, **environment})
    os.close(theirs)
    pieces = []
    try:
        while piece := os.read(ours, 65536):
            pieces.append(piece)
    except OSError:  # the program has closed its end
        pass
    assert run.wait() == 0
    return b"".join(pieces).decode().replace("\r\n", "\n")


expected = script.with_suffix(".timeline").read_text()
piped = subprocess.run([replay, "--timeline", script], stdout=subprocess.PIPE, text=True, check=True)
coloured = on_terminal(NO_COLOR="")
kinds = re.findall(r"\033\[\d+m(\w+) +\033\[0m", coloured)
print(piped.stdout, coloured, sep="")
assert piped.stdout == expected
assert on_terminal(NO_COLOR="1") == expected
assert re.sub(r"\033\[\d+m", "", coloured) == expected
assert len(kinds) == len(expected.splitlines()) and "\033[32mnotification" in coloured
