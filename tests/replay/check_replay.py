#!/usr/bin/python3
"""Plays a script with korvani-replay and compares what it prints, to the byte.

Usage: check_replay.py REPLAY SCRIPT. What is expected stands beside the script, in its
name.expected; lines that differ are shown.
"""

import difflib
import pathlib
import subprocess
import sys

replay, script = sys.argv[1], pathlib.Path(sys.argv[2])
expected = script.with_suffix(".expected").read_text()
run = subprocess.run([replay, script.name], cwd=script.parent, capture_output=True, text=True)
difference = list(
    difflib.unified_diff(expected.splitlines(), run.stdout.splitlines(), "expected", "printed", n=1)
)
print("\n".join(difference))
print(run.stderr, end="")
sys.exit(1 if difference or run.returncode or not expected else 0)
