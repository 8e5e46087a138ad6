#!/usr/bin/python3
"""Opens the live page of a running korvani-service in Chromium, on a screen as small as a phone's.

check_page.py SERVICE DEMO: the program, and the demonstration's folder.
"""
import http.client
import json
import subprocess
import sys
import urllib.parse

from browser import Browser

MARKUP = "<img src=x onerror=\"document.title='broken in'\">"
TAB = "\ue004"

# The contrast of each text with what lies beneath, where it is less than WCAG asks for.
WEAK_CONTRASTS = """
    const numbers = color => color.match(/[\\d.]+/g).map(Number);
    const light = color => numbers(color).slice(0, 3).map(part => part / 255)
      .map(part => part <= .04045 ? part / 12.92 : ((part + .055) / 1.055) ** 2.4)
      .reduce((sum, part, place) => sum + part * [.2126, .7152, .0722][place], 0);
    const ground = element => {
      const color = getComputedStyle(element).backgroundColor;
      return numbers(color)[3] === 0 ? ground(element.parentElement) : color;
    };
    const texts = [...document.body.querySelectorAll("*")].filter(element =>
      element.checkVisibility() &&
      [...element.childNodes].some(node => node.nodeType === 3 && node.data.trim()));
    if (texts.length < 30) return ["too few texts"];
    return texts.map(element => {
      const pair = [light(getComputedStyle(element).color), light(ground(element))].sort((a, b) => a - b);
      return [element.textContent, (pair[1] + .05) / (pair[0] + .05)];
    }).filter(([, contrast]) => !(contrast >= 4.5));"""


def check(holds, text):
    if not holds:
        sys.exit(f"failed: {text}")


class Page:
    def __init__(self, browser, port):
        self.browser, self.port = browser, port

    def post(self, endpoint, **parameters):
        connection = http.client.HTTPConnection("127.0.0.1", self.port)
        connection.request("POST", "/" + endpoint, urllib.parse.urlencode(parameters),
                           {"X-Api-Key": "demo-key"})
        answer = connection.getresponse()
        return answer.status, answer.read().decode()

    def wait_for_text(self, selector, text):
        self.browser.wait_for("const found = document.querySelector(arguments[0]);"
                              "return found && found.textContent.includes(arguments[1])",
                              selector, text)

    def submit(self, form, said):
        self.browser.click(f"{form} button")
        self.wait_for_text(f"{form} output", said)

    def check_requests(self):
        self.post("scenario", device_registration_id=MARKUP, major="0001", minor="0002",
                  event="IN_NEAR_REGION")
        self.wait_for_text("#requests li:first-child dd", MARKUP)
        self.wait_for_text("#requests li:first-child pre", "Fresh from the oven")
        self.wait_for_text("#devices", "0001/0002IN_NEAR_REGION")
        self.wait_for_text("#devices", " s ago")
        self.wait_for_text("#deliveries", "not confirmed")
        self.post("confirm", scenario_history_id="1")
        self.wait_for_text("#deliveries li:first-child .good", "confirmed after 0.")
        check(self.browser.run("return document.images.length + document.title") == "0korvani-service",
              "what a request says is no markup")

    def check_controls(self):
        browser = self.browser
        browser.type("#error-message", "Out of order")
        self.submit("#settings", "done")
        check(json.loads(self.post("confirm")[1]) == {"error_message": "Out of order"}, "the message")
        browser.type("#error-message", "")
        browser.choose("#disabled", "true")
        self.submit("#settings", "done")
        check(json.loads(self.post("confirm")[1]) == {"success": False, "disabled": True}, "disabled")

        browser.choose("#kind", "status 500")
        browser.type("#count", "1")
        self.submit("#break", "done")
        self.wait_for_text("#standing", "The next 1 answers: status 500")
        check([self.post("confirm")[0], self.post("confirm")[0]] == [500, 200], "one is broken")
        self.wait_for_text("#requests", "broken: status 500")
        browser.wait_for("return document.querySelector('#standing').textContent === ''")

        browser.choose("#index", "1/3 any distance")
        self.submit("#scenario", "done")
        browser.type("#scenario-text", "{")
        self.submit("#scenario", "JSON")
        browser.type("#scenario-text", '{"major": 1, "minor": 70000, "answer": {}}')
        self.submit("#scenario", "scenario: minor is neither")
        browser.choose("#index", "a new one")
        browser.type("#scenario-text", '{"major": 7, "minor": 8, "answer": {"n": "fresh"}}')
        self.submit("#scenario", "done")
        self.wait_for_text("#index", "7/8 any distance")
        check('"n":"fresh"' in self.post("scenario", major="7", minor="8")[1], "the new scenario")

    def check_access(self):
        browser = self.browser
        check(browser.run("return document.documentElement.scrollWidth <= innerWidth"),
              "nothing reaches past the side of a phone")
        check(browser.run("return innerWidth") == 390, "the screen is a phone's")
        nameless = browser.run("""return [...document.querySelectorAll("input, select, textarea")]
            .filter(control => !control.labels.length).map(control => control.id)""")
        check(nameless == [], f"controls with labels, not {nameless}")
        wanted = set(browser.run("""return [...document.querySelectorAll("input, select, textarea")]
            .map(control => control.id)"""))
        check(len(wanted) == 9, f"nine controls, not {wanted}")
        browser.run("document.activeElement.blur()")
        for _ in range(60):
            browser.press(TAB)
            wanted.discard(browser.run("return document.activeElement.id"))
        check(not wanted, f"the keyboard reaches {wanted}")
        grounds = set()
        for scheme in ("light", "dark"):
            browser.use_scheme(scheme)
            grounds.add(browser.run("return getComputedStyle(document.body).backgroundColor"))
            weak = browser.run(WEAK_CONTRASTS)
            check(weak == [], f"{scheme}: weak contrasts {weak}")
        check(len(grounds) == 2, "the schemes differ")


def main(program, demo):
    service = subprocess.Popen([program, "--port", "0", "--scenarios", f"{demo}/scenarios.json",
                                "--content", f"{demo}/content", "--log", "/dev/null"],
                               stdout=subprocess.PIPE, text=True)
    try:
        address = service.stdout.readline().split()[-1]
        with Browser(390, 844) as browser:
            page = Page(browser, urllib.parse.urlsplit(address).port)
            browser.open(address)
            page.wait_for_text("#link", "connected")
            page.check_requests()
            page.check_controls()
            page.check_access()
            complaints = browser.complaints()
            check(len(complaints) == 1 and "400" in complaints[0],
                  f"the console holds the refused scenario alone, not {complaints}")
            service.terminate()
            page.wait_for_text("#link", "disconnected")
    finally:
        service.terminate()
        status = service.wait()
    check(status == 0, f"the service ends with status {status}")


if __name__ == "__main__":
    main(*sys.argv[1:])
