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
import urllib.parse

DRIVE = pathlib.Path(__file__).resolve().parents[2] / "demo/drive"


def check(holds, text):
    if not holds:
        sys.exit(f"failed: {text}")


def drive(programs, out, *arguments, **added):
    """Without a display, whatever this machine has, or on the desktop that is added to the
    environment; what it says is also the test's output."""
    hidden = ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "no_proxy", "NO_PROXY")
    environment = {key: value for key, value in os.environ.items() if key not in hidden} | added
    done = subprocess.run([DRIVE, "--bin", programs, "--out", out, *arguments], env=environment,
                          text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    print(done.stdout, end="")
    return done.returncode, done.stdout


def requests(out, endpoint):
    lines = (out / "service.jsonl").read_text().splitlines()
    return [found for found in map(json.loads, lines) if found["endpoint"] == endpoint]


def check_pictures(out, names, screens=()):
    check({picture.stem for picture in out.glob("*.png")} == names, f"pictures of {names}")
    for name in names:
        header = (out / f"{name}.png").read_bytes()[:24]
        size = (1280, 1024) if name in screens else (390, 844)
        check(struct.unpack(">II", header[16:]) == size, f"{name} is a picture of {size}")


def check_recording(programs, out, recording):
    """Played again, the kit asks the same, and tells and shows the user the same."""
    check("demo-key" not in recording.read_text(), "the recording does not tell the key")
    run = subprocess.run([programs / "korvani-replay", recording.name], cwd=recording.parent,
                         stdout=subprocess.PIPE, check=True)
    effects = [json.loads(line) for line in run.stdout.splitlines()]
    for endpoint in ("scenario", "confirm"):
        bodies = [effect["request"]["body"] or "" for effect in effects
                  if effect.get("request", {}).get("url", "").endswith(endpoint)]
        asked = [dict(urllib.parse.parse_qsl(body)) for body in bodies]
        lived = [found["parameters"] for found in requests(out, endpoint)]
        check(asked == lived != [], f"{endpoint} replays as {lived}, not {asked}")
    told = [effect["notification"]["userInfo"]["scenario_history_id"]
            for effect in effects if "notification" in effect]
    granted = [found["answer"]["scenario_history_id"] for found in requests(out, "scenario")]
    check(told == granted, f"notifications {granted} replay, not {told}")
    shown = [effect["screen"]["present"] for effect in effects if "present" in effect.get("screen", {})]
    check(shown == ["KorvaniView", "KorvaniWebView"], f"two pop-ups replay, not {shown}")


def road(programs, out, **desktop):
    recording = out / "visit.jsonl"
    status, text = drive(programs, out, "--auto", "--record", recording, **desktop)
    last = "road: 3 beacons reported, 3 notifications, 3 opened, 3 confirmed"
    check(status == 0, f"status {status} is 0")
    check(text.splitlines()[-1] == last, "the last line sums the road up")
    check_pictures(out, {"home", "notification", "image", "pushed-page", "page", "log"},
                   screens=["notification"] if desktop else [])

    granted = [request["answer"]["scenario_history_id"] for request in requests(out, "scenario")]
    confirmed = [request["parameters"]["scenario_history_id"]
                 for request in requests(out, "confirm")]
    check(len(set(granted)) == 3, f"three deliveries, not {granted}")
    check(sorted(confirmed) == sorted(map(str, granted)), f"each confirmed once, not {confirmed}")
    for content in ("pears.png", "pears.html", "bakery.html", "card.html"):
        check([found["status"] for found in requests(out, content)] == [200], f"{content} was read")
    check_recording(programs, out, recording)


def desktop_road(programs, out):
    """The bus starts dunst when it is first asked for."""
    screen = subprocess.Popen(["Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24"],
                              stdout=subprocess.PIPE, text=True)
    desktop = {"DISPLAY": ":" + screen.stdout.readline().strip()}
    bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"],
                           stdout=subprocess.PIPE, text=True, env=os.environ | desktop)
    desktop["DBUS_SESSION_BUS_ADDRESS"] = bus.stdout.readline().strip()
    try:
        road(programs, out, **desktop)
        shown = subprocess.run(["dunstctl", "count", "history"], env=os.environ | desktop,
                               stdout=subprocess.PIPE, text=True).stdout
        check(shown.split() == ["3"], f"dunst has shown three notifications, not {shown}")
    finally:
        for process in (bus, screen):
            process.terminate()
            process.wait()


def wrong_key(programs, out):
    # Without a display --auto goes unsaid. Nothing listens at the proxy.
    status, text = drive(programs, out, "--key", "wrong", http_proxy="http://127.0.0.1:9")
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
    cases = {"road": road, "desktop_road": desktop_road, "wrong_key": wrong_key, "taken_port": taken_port}
    cases[sys.argv[1]](pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3]))
