"""Headless Chromium under chromedriver, by the WebDriver protocol, as far as the tests need it."""

import base64
import http.client
import json
import os
import re
import shutil
import socket
import socket
import subprocess
import tempfile

ELEMENT = "element-6066-11e4-a52e-4f735466cecf"  # the key of an element's id in the protocol

# Keys, as the protocol writes them.
ENTER, SPACE, TAB = "\ue007", " ", "\ue004"
END, HOME, LEFT, UP, RIGHT, DOWN = "\ue010", "\ue011", "\ue012", "\ue013", "\ue014", "\ue015"


class Browser:
    """One browser window. Use it as a context: it ends the browser and removes its files."""

    def __init__(self):
        self._folder = tempfile.mkdtemp(prefix="tavi_browser_")
        self._driver = None
        self._session = None
        try:
            self._start()
        except BaseException:
            self.close()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _start(self):
        missing = [name for name in ("chromium", "chromedriver") if shutil.which(name) is None]
        if missing:
            raise RuntimeError(f"not installed: {' and '.join(missing)}")
        try:
            socket.getaddrinfo("localhost", None)
        except OSError as error:
            raise RuntimeError(f"chromedriver needs the name localhost, see /etc/hosts: {error}") from error
        # Port 0: the driver takes a free one and says which.
        self._driver = subprocess.Popen(
            ["chromedriver", "--port=0"],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
            # The user that runs the tests may have no home.
            env={**os.environ, "HOME": self._folder, "TMPDIR": self._folder},
        )
        for line in self._driver.stdout:
            found = re.search(r"started successfully on port (\d+)", line)
            if found:
                break
        else:
            raise RuntimeError("chromedriver does not start")
        self._http = http.client.HTTPConnection("127.0.0.1", int(found[1]), timeout=120)
        options = {
            "binary": shutil.which("chromium"),
            "args": [
                "--headless",
                # The sandbox is not there for root, nor where user namespaces are switched off; the
                # page is the tests' own.
                "--no-sandbox",
                "--disable-dev-shm-usage",
                "--disable-gpu",
                "--disable-quic",
                "--no-first-run",
                "--disable-background-networking",
                "--disable-component-update",
                "--disable-sync",
                "--force-device-scale-factor=1",
                f"--user-data-dir={self._folder}/profile",
            ],
        }
        reply = self._request(
            "POST",
            "/session",
            {
                "capabilities": {
                    "alwaysMatch": {
                        "browserName": "chrome",
                        "goog:chromeOptions": options,
                        "goog:loggingPrefs": {"browser": "ALL", "performance": "ALL"},
                    }
                }
            },
        )
        self._session = f"/session/{reply['sessionId']}"
        # Away from the page that a new window shows, which asks for many things.
        self.open("about:blank")
        self.requests()
        self.devtools("Emulation.setScrollbarsHidden", hidden=True)

    def close(self):
        if self._session is not None:
            try:
                self._request("DELETE", self._session)
            except (OSError, http.client.HTTPException, RuntimeError):
                pass  # it is ended below
            self._session = None
        if self._driver is not None:
            self._driver.terminate()
            self._driver.wait()
            self._driver.stdout.close()
            self._driver = None
        shutil.rmtree(self._folder, ignore_errors=True)

    def _request(self, method, path, body=None):
        data = json.dumps(body if body is not None else {}) if method == "POST" else None
        self._http.request(method, path, data, {"Content-Type": "application/json"})
        value = json.loads(self._http.getresponse().read())["value"]
        if isinstance(value, dict) and "error" in value:
            raise RuntimeError(f"{method} {path}: {value['error']}: {value['message']}")
        return value

    def _command(self, path, body=None):
        return self._request("POST", self._session + path, body)

    def open(self, url):
        self._command("/url", {"url": url})

    def run(self, script, *arguments):
        """The value that the body of a function of `arguments` returns."""
        return self._command("/execute/sync", {"script": script, "args": list(arguments)})

    def find(self, selector):
        return self._command("/element", {"using": "css selector", "value": selector})[ELEMENT]

    def text(self, selector):
        """As it is seen."""
        return self._request("GET", f"{self._session}/element/{self.find(selector)}/text")

    def click(self, selector):
        self._command(f"/element/{self.find(selector)}/click")

    def press(self, *keys):
        """To what has the focus."""
        actions = []
        for key in keys:
            actions += [{"type": "keyDown", "value": key}, {"type": "keyUp", "value": key}]
        self._command("/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def point(self, x, y):
        """Moves the pointer to a place in the window."""
        move = {"type": "pointerMove", "duration": 0, "x": round(x), "y": round(y)}
        pointer = {"type": "pointer", "id": "pointer", "actions": [move]}
        self._command("/actions", {"actions": [pointer]})

    def click_here(self):
        """Where the pointer is."""
        actions = [{"type": "pointerDown", "button": 0}, {"type": "pointerUp", "button": 0}]
        pointer = {"type": "pointer", "id": "pointer", "actions": actions}
        self._command("/actions", {"actions": [pointer]})

    def settle(self):
        """Until what is due has been drawn."""
        self._command(
            "/execute/async",
            {
                "script": "requestAnimationFrame(() => requestAnimationFrame(arguments[0]))",
                "args": [],
            },
        )

    def devtools(self, command, **parameters):
        return self._command("/goog/cdp/execute", {"cmd": command, "params": parameters})

    def emulate(self, width, height, theme="light"):
        self.devtools(
            "Emulation.setDeviceMetricsOverride",
            width=width,
            height=height,
            deviceScaleFactor=1,
            mobile=False,
        )
        features = [{"name": "prefers-color-scheme", "value": theme}]
        self.devtools("Emulation.setEmulatedMedia", features=features)

    def screenshot(self, path):
        """The page as a whole, as a PNG file."""
        size = self.devtools("Page.getLayoutMetrics")["cssContentSize"]
        image = self.devtools(
            "Page.captureScreenshot",
            format="png",
            captureBeyondViewport=True,
            clip={**size, "scale": 1},
        )
        with open(path, "wb") as file:
            file.write(base64.b64decode(image["data"]))

    def complaints(self):
        """What the console was told since the last call, of every severity."""
        return [entry["message"] for entry in self._command("/se/log", {"type": "browser"})]

    def requests(self):
        """The addresses that were asked for since the last call, data: aside."""
        urls = []
        for entry in self._command("/se/log", {"type": "performance"}):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                urls.append(message["params"]["request"]["url"])
        return [url for url in urls if not url.startswith("data:")]
