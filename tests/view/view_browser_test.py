#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Drives a browser without a screen through the page of `gas view`:
view_browser_test.py GAS CHROMIUM CHROMEDRIVER.

GAS_VIEW_SHOTS names a folder for pictures of the page.
"""

import os
import sys
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from view_server import Server

PROGRAM = CHROMIUM = DRIVER = ""

# Calls back when a picture beyond the given number is done and no other is wanted.
WAIT = """
    const [before, answer] = arguments;
    const canvas = document.getElementById("picture");
    const look = () => {
        const { state, pictures } = canvas.dataset;
        if (state === "failed") answer(document.getElementById("doing").textContent);
        if (state === "done" && Number(pictures) > before && !viewer.isWanted) answer("");
    };
    new MutationObserver(look).observe(canvas, { attributes: true });
    look();
"""
# A number for the picture's pixels, and how many colours it has.
LOOK = """
    const canvas = document.getElementById("picture");
    const copy = new OffscreenCanvas(canvas.width, canvas.height);
    const context = copy.getContext("2d", { willReadFrequently: true });
    context.drawImage(canvas, 0, 0);
    const { data } = context.getImageData(0, 0, canvas.width, canvas.height);
    const pixels = new Uint32Array(data.buffer);
    let hash = 0;
    for (const pixel of pixels) hash = (Math.imul(hash, 31) + pixel) | 0;
    return [hash, new Set(pixels).size, canvas.width];
"""


class Page(unittest.TestCase):
    usual_size = (300, 480)

    @classmethod
    def setUpClass(cls):
        cls.server = Server(PROGRAM, "--detail", "0.001")
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        # A browser of root's does not confine itself.
        for argument in ("--headless=new", "--no-sandbox", "--force-device-scale-factor=1"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service(DRIVER), options=options)
        cls.browser.set_script_timeout(3600)
        cls.set_size(*cls.usual_size)
        cls.browser.get(cls.server.address)
        cls.run_script("""
            const [answer] = arguments;
            const look = () => window.viewer ? answer() : requestAnimationFrame(look);
            look();
        """)
        cls.choose("ao", "0")
        cls.choose("spp", "1")

    @classmethod
    def tearDownClass(cls):
        logged = cls.browser.get_log("browser")
        cls.browser.quit()
        code = cls.server.interrupt()
        if logged or code != 0:
            raise AssertionError(f"the program ended with {code}; the browser logged {logged}")

    @classmethod
    def run_script(cls, script, *arguments):
        return cls.browser.execute_async_script(script, *arguments)

    @classmethod
    def act(cls, action):
        """Does something that asks for a picture, and waits for it."""
        before = cls.browser.execute_script("return viewer.pictures")
        action()
        failure = cls.run_script(WAIT, before)
        if failure:
            raise AssertionError(failure)
        return cls.look()

    @classmethod
    def look(cls):
        return cls.browser.execute_script(LOOK)

    @classmethod
    def set_size(cls, width, height):
        size = {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": False}
        cls.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", size)

    @classmethod
    def resize(cls, width, height):
        return cls.act(lambda: cls.set_size(width, height))

    @classmethod
    def choose(cls, name, value):
        select = Select(cls.find(f"choose-{name}"))
        return cls.act(lambda: select.select_by_value(value))

    @classmethod
    def find(cls, name):
        return cls.browser.find_element(By.ID, name)

    def figures(self):
        terms = [term.text for term in self.browser.find_elements(By.CSS_SELECTOR, "#figures dt")]
        values = [value.text for value in self.browser.find_elements(By.CSS_SELECTOR, "#figures dd")]
        return dict(zip(terms, values))

    def test_draws_and_tells_figures(self):
        hash_, colors, _ = self.look()
        self.assertGreater(colors, 100)
        figures = self.figures()
        for name in ("Trees built in", "SAH cost (knot)", "Nodes a camera ray", "Rays a second"):
            self.assertIn(name, figures)
        self.assertIn("Done after", self.find("doing").text)
        self.assertEqual(self.find("command").text.split()[:2], ["gas", "render"])
        self.assertNotEqual(hash_, 0)

    def test_draws_the_same_through_other_trees(self):
        picture = self.look()
        memory = self.figures()["Memory of the trees"]
        self.assertEqual(self.choose("tree", "compressed"), picture)
        self.assertNotEqual(self.figures()["Memory of the trees"], memory)
        self.assertFalse(self.find("choose-wide").is_enabled())
        self.assertEqual(self.choose("build", "median"), picture)
        self.assertEqual(self.choose("tree", "grid"), picture)
        self.assertIn("Cells", self.figures())
        self.assertIn("--tree=grid", self.find("command").text)
        rows = self.browser.find_elements(By.CSS_SELECTOR, "#seen tr")
        self.assertGreaterEqual(len(rows), 4)
        for name, value in (("tree", "plain"), ("build", "sah-fast")):
            self.assertEqual(self.choose(name, value), picture)

    def test_moves_its_camera(self):
        canvas = self.find("picture")
        picture = self.act(lambda: canvas.send_keys(Keys.HOME))
        drag = ActionChains(self.browser).move_to_element(canvas).click_and_hold()
        seen = {picture[0]}
        for action in (
            drag.move_by_offset(60, -20).release().perform,
            lambda: canvas.send_keys(Keys.ARROW_LEFT),
            lambda: canvas.send_keys("+"),
            lambda: canvas.send_keys(Keys.SHIFT, Keys.ARROW_UP),
        ):
            moved = self.act(action)
            self.assertNotIn(moved[0], seen)
            seen.add(moved[0])
        self.assertEqual(self.act(lambda: canvas.send_keys(Keys.HOME)), picture)

    def test_shows_costs_and_boxes(self):
        picture = self.look()
        self.assertNotEqual(self.choose("show", "heatmap")[0], picture[0])
        self.choose("show", "time")
        slider = self.find("level")
        self.act(lambda: slider.send_keys(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_RIGHT))
        boxes = int(self.find("overlay").get_attribute("data-boxes"))
        self.assertIn(boxes, (2, 3, 4))
        self.assertIn(f"2: {boxes} boxes", self.find("level-text").text)
        self.assertIn("boxes", slider.get_attribute("aria-valuetext"))
        slider.send_keys(Keys.HOME)
        self.assertEqual(self.find("overlay").get_attribute("data-boxes"), "0")
        self.assertEqual(self.choose("show", "picture"), picture)

    def test_fits_windows_light_and_dark(self):
        folder = os.environ.get("GAS_VIEW_SHOTS")
        picture = self.look()
        backgrounds = set()
        for width, height in ((900, 600), (400, 700)):
            self.assertLessEqual(self.resize(width, height)[2], width)
            for scheme in ("light", "dark"):
                media = {"features": [{"name": "prefers-color-scheme", "value": scheme}]}
                self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", media)
                wide, background = self.browser.execute_script(
                    "return [document.documentElement.scrollWidth,"
                    " getComputedStyle(document.body).backgroundColor]")
                self.assertLessEqual(wide, width)
                backgrounds.add(background)
                if folder:
                    self.browser.save_screenshot(os.path.join(folder, f"view_{width}_{scheme}.png"))
        self.assertEqual(len(backgrounds), 2)
        self.assertEqual(self.resize(*self.usual_size), picture)

    def test_names_all_that_can_be_used(self):
        unnamed = self.browser.execute_script("""
            const named = (one) => one.labels?.length || one.textContent.trim() && one.tagName === "BUTTON" ||
                one.ariaLabel || one.getAttribute("aria-labelledby");
            return [...document.querySelectorAll("button, select, input, [tabindex='0']")]
                .filter((one) => !named(one)).map((one) => one.outerHTML);
        """)
        self.assertEqual(unnamed, [])

    def test_stops_its_picture_when_it_goes(self):
        Select(self.find("choose-spp")).select_by_value("256")
        self.browser.execute_script("document.getElementById('picture').dataset.gone = 1")
        self.browser.get("about:blank")
        # Threads that draw, and those of connections, end with it.
        answers = 0
        while self.server.count("task") > 8:
            answers += self.server.ask("/scene")[0] == 200
            self.assertLess(answers, 20000, "threads stay")
        self.browser.get(self.server.address)
        self.run_script("""
            const [answer] = arguments;
            const look = () => window.viewer ? answer() : requestAnimationFrame(look);
            look();
        """)
        self.choose("spp", "1")


if __name__ == "__main__":
    PROGRAM, CHROMIUM, DRIVER = (os.path.abspath(sys.argv.pop(1)) for _ in range(3))
    unittest.main()
