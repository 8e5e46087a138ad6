#!/usr/bin/python3
"""Waits until two beacons of the demonstration are confirmed and takes a picture of the live page.

picture_page.py FILE: while ./run --auto works. docs/pictures/live-page.png is made so.
"""
import pathlib
import sys

from browser import Browser

with Browser(1280, 900) as browser:
    browser.open("http://127.0.0.1:8780/")
    browser.wait_for("return document.querySelectorAll('#deliveries .good').length === 2")
    browser.save_picture(pathlib.Path(sys.argv[1]))
