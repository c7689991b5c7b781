# SPDX-License-Identifier: Apache-2.0
"""A headless Chromium for tests of pages, and what they have in common."""

import base64
import os

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

PATIENCE = 60
# What drivers of the machine say of how fast they are.
HARMLESS = ("GPU stall due to ReadPixels", "Automatic fallback to software WebGL")


class Browser:
    """One window; ends with the block that it is made in."""

    def __init__(self, chromium, driver, has_webgl=True):
        options = Options()
        options.binary_location = chromium
        gl = ["--enable-unsafe-swiftshader"] if has_webgl else ["--disable-gpu", "--disable-3d-apis"]
        for argument in ["--headless=new", "--no-sandbox", "--hide-scrollbars",
                         "--disable-background-networking"] + gl:
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        self.driver = webdriver.Chrome(options=options, service=Service(driver))

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.driver.quit()

    def resize(self, width, height, scheme="light"):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": width < 600})
        self.driver.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})

    def open(self, path):
        self.driver.get("file://" + os.path.abspath(path).replace("%", "%25").replace("#", "%23"))

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def wait(self, script, *arguments):
        """Until the script's result is true."""
        WebDriverWait(self.driver, PATIENCE, 0.02).until(
            lambda driver: driver.execute_script(script, *arguments), script)

    def wait_for_frames(self):
        self.driver.execute_async_script(
            "const done = arguments[0]; requestAnimationFrame(() => requestAnimationFrame(done))")

    def find(self, selector):
        return self.driver.find_element("css selector", selector)

    def screenshot(self, path):
        """The whole page; its height."""
        size = self.run("const e = document.documentElement; return [e.clientWidth, e.scrollHeight]")
        picture = self.driver.execute_cdp_cmd("Page.captureScreenshot", {
            "captureBeyondViewport": True,
            "clip": {"x": 0, "y": 0, "width": size[0], "height": size[1], "scale": 1}})
        with open(path, "wb") as file:
            file.write(base64.b64decode(picture["data"]))

    def take_complaints(self):
        """What the console was told since the last call, but for harmless notes."""
        return [entry["level"] + ": " + entry["message"] for entry in self.driver.get_log("browser")
                if entry["level"] in ("SEVERE", "WARNING")
                and not any(note in entry["message"] for note in HARMLESS)]
