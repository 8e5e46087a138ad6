#!/usr/bin/python3
"""Runs demo/drive with nobody there and holds what it left against what a visit is.

check_drive.py CASE PROGRAMS OUT: the case is a function below.
"""
import json
import os
import pathlib
import socket
import struct
import subprocess
import sys

DRIVE = pathlib.Path(__file__).resolve().parents[2] / "demo/drive"


def check(holds, text):
    if not holds:
        sys.exit(f"failed: {text}")


def drive(programs, out, *arguments):
    """Without a display, whatever this machine has; what it says is also the test's output."""
    hidden = ("DISPLAY", "WAYLAND_DISPLAY")
    environment = {key: value for key, value in os.environ.items() if key not in hidden}
    done = subprocess.run([DRIVE, "--bin", programs, "--out", out, *arguments], env=environment,
                          text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    print(done.stdout, end="")
    return done.returncode, done.stdout


def requests(out, endpoint):
    lines = (out / "service.jsonl").read_text().splitlines()
    return [found for found in map(json.loads, lines) if found["endpoint"] == endpoint]


def check_pictures(out, names):
    check({picture.stem for picture in out.glob("*.png")} == names, f"pictures of {names}")
    for name in names:
        header = (out / f"{name}.png").read_bytes()[:24]
        check(struct.unpack(">II", header[16:]) == (390, 844), f"{name} is a picture of the window")


def road(programs, out):
    status, text = drive(programs, out, "--auto")
    last = "road: 3 beacons reported, 3 notifications, 3 opened, 3 confirmed"
    check(status == 0, f"status {status} is 0")
    check(text.splitlines()[-1] == last, "the last line sums the road up")
    check_pictures(out, {"home", "notification", "image", "pushed-page", "page", "log"})

    granted = [request["answer"]["scenario_history_id"] for request in requests(out, "scenario")]
    confirmed = [request["parameters"]["scenario_history_id"]
                 for request in requests(out, "confirm")]
    check(len(set(granted)) == 3, f"three deliveries, not {granted}")
    check(sorted(confirmed) == sorted(map(str, granted)), f"each confirmed once, not {confirmed}")
    for content in ("pears.png", "pears.html", "bakery.html", "card.html"):
        check([found["status"] for found in requests(out, content)] == [200], f"{content} was read")


def wrong_key(programs, out):
    status, text = drive(programs, out, "--key", "wrong")  # without a display, --auto goes unsaid
    check(status == 0, f"status {status} is 0")
    check("alert      This API key is not known." in text, "an alert was shown")
    check("notified" not in text, "there was no notification")
    check_pictures(out, {"home", "alert", "log"})


def taken_port(programs, out):
    with socket.create_server(("127.0.0.1", 8780)):
        status, text = drive(programs, out, "--auto")
    check(status == 2, f"status {status} is 2")
    check("8780" in text and "taken" in text, "the port is named")
    check("Traceback" not in text and "started" not in text, "nothing was started, nothing broke")


if __name__ == "__main__":
    cases = {"road": road, "wrong_key": wrong_key, "taken_port": taken_port}
    cases[sys.argv[1]](pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
