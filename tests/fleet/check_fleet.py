#!/usr/bin/python3
"""Checks the figures of small fleets. check_fleet.py FLEET: the program."""
import re
import subprocess
import sys


def run(options):
    return subprocess.run([sys.argv[1], *options.split()], text=True, capture_output=True)


def figures(options):
    """Of each row: requests, most in a second and when, most in a minute and when, and the mean bytes
    of requests and of answers; and the whole text."""
    result = run(options)
    assert result.returncode == 0, result
    rows = re.findall(r"^(\w+) +(\d+) +\S+ +\S+ +(\d+) +(\S+) +(\d+) +(\S+) +(\S+) +(\S+)$",
                      result.stdout, re.M)
    return {name: (int(requests), int(second), at, int(minute), when, float(asked), float(answered))
            for name, requests, second, at, minute, when, asked, answered in rows}, result.stdout


# All start at seven, and each day ask for the configuration. Four of them get off the train beside
# one beacon, which each reports, is told of, and opens; it is out of reach until the next day.
rows, text = figures("--phones 10 --days 2 --spread 0 --visits 0 --train 4 --beacons 1 --changes 0 "
                     "--scenarios 100 --opened 100")
assert rows["configuration"][:6] == (20, 10, "1+07:00:00", 10, "1+07:00:00", 0), text
assert rows["scenario"][0] == 8 and rows["scenario"][3:5] == (4, "1+08:12:00"), text
confirmation, answer = "scenario_history_id=1234567&timezone=%2B0000", '{"success":true}'
assert rows["confirm"][0] == 8 and rows["all"][0] == 36, text
assert rows["confirm"][5:] == (len(confirmation), len(answer)), text
assert re.search(r"^train of 4 phones: [4-8] requests from 1\+08:12:00 to 1\+08:13:00", text, re.M)

# A report when a beacon comes into view, and one for each change of its zone.
for options, reports in (("--changes 0", 3 * 3), ("--visits 2 --beacons 1 --changes 5", 2 * 6)):
    rows, text = figures(f"--phones 150 --opened 0 {options}")
    assert abs(rows["scenario"][0] / 150 / reports - 1) < 0.15 and rows["confirm"][0] == 0, text

# The answer to the first request disables them: nothing more for 24 hours, then one request at most.
rows, text = figures("--phones 20 --disabled 100")
assert [row[0] for row in rows.values()] == [20, 0, 0, 20], text
assert 20 < figures("--phones 20 --disabled 100 --days 2")[0]["all"][0] <= 40

# What a share of them saves is told beside the same day without any.
rows, text = figures("--phones 30 --train 10 --disabled 30 --jobs 1")
found = re.search(r"(\d+) phones sent (\d+) .* of (\d+), which saves (\S+) %", text).groups()
disabled, sent, otherwise, saved = map(float, found)
saving, without = otherwise - sent, figures("--phones 30 --train 10")[0]["all"][0]
assert 0 < disabled == sent < 30 and rows["all"][0] + saving == without, text
assert abs(saved - 100 * saving / without) < 0.06, text

assert text == figures("--phones 30 --train 10 --disabled 30 --jobs 4")[1]
assert text != figures("--phones 30 --train 10 --disabled 30 --seed 2")[1]

for wrong in ("--phones 0", "--visits nan", "--disabled 101", "--phones 5 --train 6", "more"):
    result = run(wrong)
    assert result.returncode == 2 and result.stderr and not result.stdout, result
