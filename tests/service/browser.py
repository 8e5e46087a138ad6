"""A headless Chromium, driven through chromedriver by plain WebDriver requests."""
import base64
import http.client
import json
import subprocess
import time

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # how WebDriver marks one in its answers


class Browser:
    """Use it in a with statement."""

    def __init__(self, width, height, scale=1):
        self.metrics = {"width": width, "height": height, "pixelRatio": scale}

    def __enter__(self):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        try:
            self.start()
        except BaseException:
            self.__exit__()
            raise
        return self

    def start(self):
        port = None
        while port is None:
            line = self.driver.stdout.readline()
            if not line:
                raise RuntimeError("chromedriver did not start")
            if "started successfully on port" in line:
                port = int(line.strip(" .\n").rsplit(" ", 1)[1])
        self.connection = http.client.HTTPConnection("127.0.0.1", port)
        options = {"args": ["--headless=new", "--no-sandbox", "--disable-dev-shm-usage",
                            "--disable-gpu", "--force-color-profile=srgb"],
                   "mobileEmulation": {"deviceMetrics": self.metrics}}
        self.path = ""
        self.path = "/session/" + self.ask("POST", "/session", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:loggingPrefs": {"browser": "ALL"},
            "goog:chromeOptions": options}}})["sessionId"]

    def __exit__(self, *_):
        if getattr(self, "path", ""):
            self.ask("DELETE", "")
        self.driver.terminate()
        self.driver.wait()
        self.driver.stdout.close()

    def ask(self, method, path, body=None):
        text = None if body is None else json.dumps(body)
        self.connection.request(method, self.path + path, text)
        value = json.loads(self.connection.getresponse().read())["value"]
        if isinstance(value, dict) and "error" in value:
            raise RuntimeError(f"{path}: {value['message']}")
        return value

    def open(self, address):
        self.ask("POST", "/url", {"url": address})

    def run(self, script, *arguments):
        """What the body of a function returns in the page."""
        return self.ask("POST", "/execute/sync", {"script": script, "args": arguments})

    def wait_for(self, script, *arguments):
        """Until what the script returns is true; it is returned."""
        while not (found := self.run(script, *arguments)):
            time.sleep(0.05)
        return found

    def find(self, selector):
        found = self.ask("POST", "/element", {"using": "css selector", "value": selector})
        return "/element/" + found[ELEMENT]

    def type(self, selector, text):
        """In place of what is there."""
        self.ask("POST", self.find(selector) + "/clear", {})
        if text:
            self.ask("POST", self.find(selector) + "/value", {"text": text})

    def choose(self, selector, text):
        self.run("""const [selector, text] = arguments, select = document.querySelector(selector);
            select.selectedIndex = [...select.options].findIndex(one => one.text === text);
            select.dispatchEvent(new Event("change"));""", selector, text)

    def click(self, selector):
        self.ask("POST", self.find(selector) + "/click", {})

    def press(self, key):
        self.ask("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": [
            {"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]}]})

    def use_scheme(self, scheme):
        self.ask("POST", "/goog/cdp/execute", {"cmd": "Emulation.setEmulatedMedia", "params": {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]}})

    def complaints(self):
        """What the page wrote on its console since the last call."""
        return [entry["message"] for entry in self.ask("POST", "/se/log", {"type": "browser"})]

    def save_picture(self, file):
        file.write_bytes(base64.b64decode(self.ask("GET", "/screenshot")))
