#!/usr/bin/python3
"""Checks the figures of small fleets. check_fleet.py FLEET: the program."""
import re
import subprocess
import sys


def run(options):
    return subprocess.run([sys.argv[1], *options.split()], text=True, capture_output=True)


def figures(options):
    """Of each row: requests, most in a second and when, most in a minute and when; and all lines."""
    result = run(options)
    assert result.returncode == 0, result
    rows = re.findall(r"^(\w+) +(\d+) +\S+ +\S+ +(\d+) +(\S+) +(\d+) +(\S+) ", result.stdout, re.M)
    return {name: (int(requests), int(second), at, int(minute), when)
            for name, requests, second, at, minute, when in rows}, result.stdout


# All start at seven, and each day ask for the configuration. Four of them get off the train beside
# one beacon, which each reports, is told of, and opens; it is out of reach until the next day.
rows, text = figures("--phones 10 --days 2 --spread 0 --visits 0 --train 4 --beacons 1 --changes 0 "
                     "--scenarios 100 --opened 100")
assert rows["configuration"] == (20, 10, "1+07:00:00", 10, "1+07:00:00"), text
assert rows["scenario"][::3] == (8, 4) and rows["scenario"][4] == "1+08:12:00", text
assert rows["confirm"][0] == 8 and rows["all"][0] == 36, text
assert re.search(r"^train of 4 phones: [4-8] requests from 1\+08:12:00 to 1\+08:13:00", text, re.M)

# A report when a beacon comes into view, and one for each change of its zone.
for options, reports in (("--changes 0", 3 * 3), ("--visits 2 --beacons 1 --changes 5", 2 * 6)):
    rows, text = figures(f"--phones 400 --opened 0 {options}")
    assert abs(rows["scenario"][0] / 400 / reports - 1) < 0.1 and rows["confirm"][0] == 0, text

# The answer to the first request disables them: nothing more for 24 hours, then one request at most.
rows, text = figures("--phones 30 --disabled 100")
assert [row[0] for row in rows.values()] == [30, 0, 0, 30], text
sent, otherwise = map(int, re.search(r"30 phones sent (\d+) .* of (\d+),", text).groups())
assert sent == 30 and otherwise == figures("--phones 30")[0]["all"][0], text
assert 30 < figures("--phones 30 --disabled 100 --days 2")[0]["all"][0] <= 60

once, again, other = (run(f"--phones 50 --train 20 --disabled 30 {more}").stdout
                      for more in ("--jobs 1", "--jobs 4", "--seed 2"))
assert once == again != other

for wrong in ("--phones 0", "--visits nan", "--disabled 101", "--phones 5 --train 6", "more"):
    result = run(wrong)
    assert result.returncode == 2 and result.stderr and not result.stdout, result
