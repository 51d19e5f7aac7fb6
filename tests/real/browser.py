"""A real browser, headless, driven over the WebDriver protocol."""

import base64
import json
import os
import shutil
import signal
import subprocess
import tempfile
import time
import urllib.error
import urllib.request

BROWSER = shutil.which("chromium")
DRIVER = shutil.which("chromedriver")
DEADLINE_S = 60
FLAGS = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
         "--no-first-run", "--disable-background-networking", "--disable-component-update",
         "--hide-scrollbars", "--force-color-profile=srgb"]
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"


class Browser:
    """One browser with one window at first; every further tab is opened by open_tab()."""

    def __init__(self, width=1280, height=860, *flags):
        self.home = tempfile.mkdtemp(prefix="zerv-browser-")
        environment = {**os.environ, "HOME": self.home, "XDG_CONFIG_HOME": self.home,
                       "XDG_CACHE_HOME": self.home}
        self.log = open(os.path.join(self.home, "driver.log"), "w+b")
        self.driver = subprocess.Popen([DRIVER, "--port=0"], env=environment, stdout=self.log,
                                       stderr=subprocess.STDOUT, start_new_session=True)
        self.base = f"http://127.0.0.1:{self.wait_for_port()}"
        options = {"binary": BROWSER, "args": [*FLAGS, f"--window-size={width},{height}", *flags]}
        wanted = {"capabilities": {"alwaysMatch": {"goog:chromeOptions": options}}}
        self.base += "/session/" + self.call("POST", "/session", wanted)["sessionId"]

    def wait_for_port(self):
        until = time.monotonic() + DEADLINE_S
        while time.monotonic() < until:
            with open(self.log.name, encoding="utf-8", errors="replace") as log:
                for line in log:
                    if "on port " in line and "success" in line:
                        return int(line.split("on port ")[1].split(".")[0])
            if self.driver.poll() is not None:
                break
            time.sleep(0.02)
        raise RuntimeError("the browser's driver does not start")

    def call(self, method, path, body=None):
        data = json.dumps(body or {}).encode() if method == "POST" else None
        request = urllib.request.Request(self.base + path, data, method=method,
                                         headers={"content-type": "application/json"})
        try:
            with urllib.request.urlopen(request, timeout=DEADLINE_S) as answer:
                return json.load(answer)["value"]
        except urllib.error.HTTPError as error:
            raise RuntimeError(f"{path}: {error.read().decode()[:600]}") from None

    def close(self):
        """Ends the browser with all that it started."""
        try:
            self.call("DELETE", "")
        except (RuntimeError, OSError):
            pass
        os.killpg(self.driver.pid, signal.SIGTERM)
        self.driver.wait()
        self.log.close()
        shutil.rmtree(self.home, ignore_errors=True)

    # ---- pages ----

    def go(self, address):
        self.call("POST", "/url", {"url": address})

    def open_tab(self, address):
        """Opens a tab, makes it the current one and returns its handle."""
        handle = self.call("POST", "/window/new", {"type": "tab"})["handle"]
        self.switch(handle)
        self.go(address)
        return handle

    def current(self):
        return self.call("GET", "/window")

    def switch(self, handle):
        self.call("POST", "/window", {"handle": handle})

    def close_tab(self):
        self.call("DELETE", "/window")

    def resize(self, width, height):
        self.call("POST", "/window/rect", {"width": width, "height": height})

    def emulate(self, width, height, ratio, dark=False):
        """A display of that many CSS pixels, each of ratio device pixels."""
        self.command("Emulation.setDeviceMetricsOverride", width=width, height=height,
                     deviceScaleFactor=ratio, mobile=False)
        self.command("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])

    def command(self, name, **parameters):
        """A command of the browser's own protocol."""
        return self.call("POST", "/goog/cdp/execute", {"cmd": name, "params": parameters})

    def run(self, script, *arguments):
        """The value of a function body in the page."""
        return self.call("POST", "/execute/sync", {"script": script, "args": list(arguments)})

    def run_async(self, script, *arguments):
        """The same for one that calls arguments[arguments.length - 1] with its value."""
        return self.call("POST", "/execute/async", {"script": script, "args": list(arguments)})

    def wait_until(self, condition, what=None):
        """Waits for an expression of the page to hold, and returns its value."""
        until = time.monotonic() + DEADLINE_S
        while time.monotonic() < until:
            found = self.run(f"return {condition}")
            if found:
                return found
            time.sleep(0.02)
        raise AssertionError(f"never: {what or condition}")

    # ---- hands ----

    def find(self, selector):
        return self.call("POST", "/element", {"using": "css selector", "value": selector})[ELEMENT]

    def click(self, selector):
        self.call("POST", f"/element/{self.find(selector)}/click")

    def act(self, *sources):
        self.call("POST", "/actions", {"actions": list(sources)})

    def key(self, key):
        self.act({"type": "key", "id": "keyboard", "actions": [
            {"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]})

    def drag(self, selector, *points):
        """Presses at the first point, moves over the others, releases; in pixels of the element's own
        320 x 240, from its top left."""
        box = self.run("const box = document.querySelector(arguments[0]).getBoundingClientRect();"
                       "return [box.left, box.top, box.width / 320, box.height / 240]", selector)
        def at(point):
            return {"x": round(box[0] + (point[0] + .5) * box[2]),
                    "y": round(box[1] + (point[1] + .5) * box[3]), "duration": 0}
        steps = [{"type": "pointerMove", **at(points[0])}, {"type": "pointerDown", "button": 0}]
        steps += [{"type": "pointerMove", **at(point)} for point in points[1:]]
        self.act({"type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"},
                  "actions": [*steps, {"type": "pointerUp", "button": 0}]})

    def screenshot(self, path):
        with open(path, "wb") as file:
            file.write(base64.b64decode(self.call("GET", "/screenshot")))
