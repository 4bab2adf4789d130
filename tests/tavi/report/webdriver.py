"""Headless Chromium by way of Selenium, as far as the tests need it."""

import base64
import json
import os
import shutil
import tempfile

from selenium.webdriver import ActionChains, Chrome, ChromeOptions
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import WebDriverWait

ENTER, SPACE, TAB = Keys.ENTER, " ", Keys.TAB
END, HOME, LEFT, UP, RIGHT, DOWN = Keys.END, Keys.HOME, Keys.LEFT, Keys.UP, Keys.RIGHT, Keys.DOWN

ARGUMENTS = (
    "--headless",
    # The sandbox is not there for root, nor where user namespaces are switched off; the page is the
    # tests' own.
    "--no-sandbox",
    "--disable-dev-shm-usage",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--force-device-scale-factor=1",
)


class Browser:
    """One browser window. close() ends the browser and removes its files."""

    def __init__(self):
        self._folder = tempfile.mkdtemp(prefix="tavi_browser_")
        options = ChromeOptions()
        options.binary_location = shutil.which("chromium")
        for argument in (*ARGUMENTS, f"--user-data-dir={self._folder}/profile"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        # The user that runs the tests may have no home.
        service = Service(shutil.which("chromedriver"),
                          env={**os.environ, "HOME": self._folder, "TMPDIR": self._folder})
        self._driver = None
        try:
            self._driver = Chrome(service=service, options=options)
            # Away from the page that a new window shows, which asks for many things.
            self.open("about:blank")
            self.requests()
            self.devtools("Emulation.setScrollbarsHidden", hidden=True)
        except BaseException:
            self.close()
            raise

    def close(self):
        if self._driver is not None:
            self._driver.quit()
        shutil.rmtree(self._folder, ignore_errors=True)

    def open(self, url):
        self._driver.get(url)

    def run(self, script, *arguments):
        """The value that the body of a function of `arguments` returns."""
        return self._driver.execute_script(script, *arguments)

    def text(self, selector):
        """As it is seen."""
        return self._driver.find_element(By.CSS_SELECTOR, selector).text

    def click(self, selector):
        self._driver.find_element(By.CSS_SELECTOR, selector).click()

    def press(self, *keys):
        """To what has the focus."""
        ActionChains(self._driver, duration=0).send_keys(*keys).perform()

    def point(self, x, y):
        """Moves the pointer to a place in the window."""
        actions = ActionChains(self._driver, duration=0)
        actions.w3c_actions.pointer_action.move_to_location(round(x), round(y))
        actions.perform()

    def click_here(self):
        """Where the pointer is."""
        ActionChains(self._driver, duration=0).click().perform()

    def drag(self, start, end):
        """By the pointer, pressed."""
        actions = ActionChains(self._driver, duration=0)
        pointer = actions.w3c_actions.pointer_action
        pointer.move_to_location(*map(round, start)).pointer_down()
        pointer.move_to_location(*map(round, end)).pointer_up()
        actions.perform()

    def touch(self, *fingers):
        """Each finger is put where its way starts, one after the other, and all go it together."""
        def send(kind, places):
            self.devtools("Input.dispatchTouchEvent", type=kind,
                          touchPoints=[{"x": x, "y": y, "id": number} for number, (x, y) in enumerate(places)])

        for count in range(len(fingers)):
            send("touchStart", [start for start, _ in fingers[:count + 1]])
        for step in range(1, 5):
            send("touchMove", [[a + (b - a) * step / 4 for a, b in zip(*finger)] for finger in fingers])
        send("touchEnd", [])
        self.settle()

    def settle(self):
        """Until what is due has been drawn."""
        self._driver.execute_async_script(
            "requestAnimationFrame(() => requestAnimationFrame(arguments[0]))")

    def wait(self, condition):
        """Until a script's condition holds."""
        WebDriverWait(self._driver, 20).until(lambda driver: driver.execute_script(f"return {condition}"))

    def devtools(self, command, **parameters):
        return self._driver.execute_cdp_cmd(command, parameters)

    def emulate(self, width, height, theme="light", is_phone=False):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=height,
                      deviceScaleFactor=1, mobile=is_phone)
        self.devtools("Emulation.setTouchEmulationEnabled", enabled=is_phone)
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": theme}])

    def screenshot(self, path):
        """The page as a whole, as a PNG file."""
        size = self.devtools("Page.getLayoutMetrics")["cssContentSize"]
        image = self.devtools("Page.captureScreenshot", format="png", captureBeyondViewport=True,
                              clip={**size, "scale": 1})
        with open(path, "wb") as file:
            file.write(base64.b64decode(image["data"]))

    def complaints(self):
        """What the console was told since the last call, of every severity."""
        return [entry["message"] for entry in self._driver.get_log("browser")]

    def requests(self):
        """The addresses that were asked for since the last call, data: aside."""
        messages = [json.loads(entry["message"])["message"] for entry in self._driver.get_log("performance")]
        urls = [message["params"]["request"]["url"] for message in messages
                if message["method"] == "Network.requestWillBeSent"]
        return [url for url in urls if not url.startswith("data:")]
