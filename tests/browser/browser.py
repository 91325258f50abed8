"""A headless Chromium that looks at pages in files."""

import base64
import json
import tempfile

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service

SWITCHES = [
    "--headless",
    "--no-sandbox",  # the tests may run as root
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-dev-shm-usage",
]


class Browser:
    """One browser for all tests: a start takes as long as most of them."""

    def __init__(self, chromium, chromedriver):
        self._profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        options = Options()
        options.binary_location = chromium
        for switch in SWITCHES + ["--user-data-dir=" + self._profile.name]:
            options.add_argument(switch)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=Service(chromedriver), options=options)

    def close(self):
        self.driver.quit()
        self._profile.cleanup()

    def set_screen(self, width, dark=False, reduced_motion=True):
        self.driver.execute_cdp_cmd(
            "Emulation.setDeviceMetricsOverride",
            {"width": width, "height": 900, "deviceScaleFactor": 1, "mobile": False},
        )
        features = [
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce" if reduced_motion else ""},
        ]
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": features})

    def open(self, path, width=1280, dark=False):
        self.set_screen(width, dark)
        self.driver.get("file://" + str(path))

    def run(self, script, *arguments):
        """Runs JavaScript that returns a value."""
        return self.driver.execute_script(script, *arguments)

    def press(self, key, target=None):
        """Presses a key on an element, or on the one that has the focus."""
        element = target or self.driver.switch_to.active_element
        element.send_keys(key)

    def find(self, selector):
        return self.driver.find_element("css selector", selector)

    def find_all(self, selector):
        return self.driver.find_elements("css selector", selector)

    def text(self, selector):
        """The text of an element, also of one that is not visible."""
        return self.run("return document.querySelector(arguments[0]).textContent", selector)

    def console(self):
        """The messages since the last call, warnings included."""
        return self.driver.get_log("browser")

    def requests(self):
        """The addresses that were requested since the last call."""
        messages = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        return [
            message["params"]["request"]["url"]
            for message in messages
            if message["method"] == "Network.requestWillBeSent"
        ]

    def printed(self):
        """The page as a PDF file on A4."""
        answer = self.driver.execute_cdp_cmd(
            "Page.printToPDF", {"preferCSSPageSize": True, "printBackground": True}
        )
        return base64.b64decode(answer["data"])
