#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Opens pages of gas report in a browser without a window and uses them.

report_test.py --gas PROGRAM --chromium PROGRAM --driver PROGRAM --output FOLDER
Screenshots go into the folder. Exits with 1 at the first thing that is wrong.
"""

import argparse
import base64
import json
import os
import re
import struct
import subprocess
import sys
import zlib

from selenium.webdriver import ActionChains
from selenium.webdriver.common.keys import Keys

from browser import Browser

# In folders that end in the first part of the name, because of its slash.
HARMFUL_NAME = "</script><img src=x onerror=alert(1)>&quot;'.obj"
LARGEST_PAGE = 3_000_000
VIEW = "canvas.view3d"


def expect(is_right, what):
    if not is_right:
        raise AssertionError(what)


def write_mesh(path):
    """Bumps of 512 triangles."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    side = 17
    with open(path, "w", encoding="utf-8") as file:
        for row in range(side):
            for column in range(side):
                height = 2 + (row * column * 7 % 5) * 0.3
                file.write(f"v {column} {height} {row}\n")
        for row in range(side - 1):
            for column in range(side - 1):
                first = row * side + column + 1
                file.write(f"f {first} {first + side} {first + side + 1} {first + 1}\n")


def make_report(gas, arguments, page):
    command = [gas, "report", *arguments, "-o", page, "--size", "96x60", "--spp", "1", "--rounds", "1",
               "--quiet", "--json"]
    done = subprocess.run(command, check=True, capture_output=True, text=True)
    expect(os.path.getsize(page) < LARGEST_PAGE, f"{page} is too large")
    return json.loads(done.stdout)


class Pack:
    """The page's arrays, read from the file itself."""

    def __init__(self, page):
        with open(page, encoding="utf-8") as file:
            text = file.read()
        element = r'<script type="application/%s" id="%s">(.*?)</script>'
        self.data = json.loads(re.search(element % ("json", "report-data"), text, re.S).group(1))
        encoded = re.search(element % ("octet-stream", "report-bytes"), text, re.S).group(1)
        self.bytes = zlib.decompress(base64.b64decode(encoded))

    def read(self, place, kind):
        offset, count = place
        size = struct.calcsize(kind)
        planes = [self.bytes[offset + byte * count : offset + (byte + 1) * count]
                  for byte in range(size)]
        mixed = bytes(byte for number in zip(*planes) for byte in number)
        return struct.unpack(f"<{count}{kind}", mixed)

    def get_main_levels(self):
        subject = self.data["subjects"][0]
        return subject["parts"][0]["trees"][subject["main_tree"]]["levels"]

    def find_node(self, level, number):
        """Items, area and cost of a box."""
        level = self.get_main_levels()[level - 1]
        index = self.read(level["numbers"], "I").index(number)
        box = [self.read(column, "f")[index] for column in level["columns"]]
        x, y, z = (box[axis + 3] - box[axis] for axis in range(3))
        items = self.read(level["items"], "I")[index] >> 1
        return items, 2 * (x * y + y * z + z * x), self.read(level["costs"], "f")[index]


def check_node(browser, pack):
    """That the node that is shown is as the file has it; its level and number."""
    shown = browser.run("return {...document.querySelector('[data-role=node]').dataset}")
    expect("number" in shown, "no node is shown")
    items, area, cost = pack.find_node(int(shown["level"]), int(shown["number"]))
    expect(int(shown["items"]) == items, f"{shown} has {items} items")
    expect(abs(float(shown["area"]) - area) <= 1e-9 * area, f"{shown} has the area {area}")
    expect(abs(float(shown["cost"]) - cost) <= 1e-9 * cost, f"{shown} has the cost {cost}")
    return int(shown["level"]), int(shown["number"])


def open_page(browser, page):
    browser.open(page)
    complaints = []
    while not complaints and not browser.run("return document.documentElement.dataset.ready"):
        complaints = browser.take_complaints()
    expect(not complaints, f"{page}: {complaints}")
    browser.wait("return document.querySelector('canvas.view3d').dataset.frames > 0")


def check_view_is_drawn(browser):
    """A PNG file of one colour is small."""
    drawn = base64.b64decode(browser.find(VIEW).screenshot_as_base64)
    browser.run("document.querySelector('canvas.view3d').style.visibility = 'hidden'")
    blank = base64.b64decode(browser.find(".view-host").screenshot_as_base64)
    browser.run("document.querySelector('canvas.view3d').style.visibility = 'visible'")
    expect(len(drawn) > 4 * len(blank), f"a blank view: {len(drawn)} bytes, hidden {len(blank)}")


def check_charts(browser):
    charts = browser.run("""
        return [...document.querySelectorAll(".plot svg")].map((svg) => ({
          name: svg.getAttribute("aria-label"),
          lines: [...svg.querySelectorAll("polyline")].map((line) => {
            const box = line.getBBox();
            return [line.getAttribute("points").split(" ").length, box.width, box.height];
          })}))""")
    expect(len(charts) == 4, f"{len(charts)} charts")
    for chart in charts:
        expect(len(chart["lines"]) == 4, f"{chart['name']}: {len(chart['lines'])} lines")
        for points, width, height in chart["lines"]:
            expect(points > 3 and width > 50 and height > 20, f"{chart['name']}: an empty line")
    bars = browser.run("return [...document.querySelectorAll('.bar')].filter((bar) => "
                       "bar.getBoundingClientRect().width > 3).length")
    expect(bars > 60, f"{bars} bars")
    sizes = browser.run("return [...document.images].map((image) => image.naturalWidth)")
    expect(sizes == [96] * 4, f"pictures of {sizes} pixels")


def check_slider(browser, pack):
    levels = pack.get_main_levels()
    slider = browser.find("input[type=range]")
    expect(int(slider.get_attribute("max")) == len(levels) - 1, "the slider has other levels")
    slider.send_keys(Keys.HOME)
    for level in range(min(5, len(levels))):
        shown = browser.run("return {...document.querySelector('canvas.view3d').dataset}")
        expect(int(shown["level"]) == level, f"level {shown['level']}, not {level}")
        expect(int(shown["boxes"]) == levels[level]["columns"][0][1], f"{shown['boxes']} boxes")
        slider.send_keys(Keys.ARROW_RIGHT)


def check_picking(browser, pack):
    """The root by a click in the middle, then others by keys and buttons."""
    browser.find("input[type=range]").send_keys(Keys.HOME)
    view = browser.find(VIEW)
    ActionChains(browser.driver).move_to_element(view).click().perform()
    expect(check_node(browser, pack) == (1, 0), "a click does not pick the root")
    browser.find("[data-role=node] button:nth-of-type(2)").send_keys(Keys.ENTER)
    level, child = check_node(browser, pack)
    expect(level == 2, f"a child on level {level}")
    browser.find("[data-role=node] button:nth-of-type(5)").send_keys(Keys.SPACE)
    expect(check_node(browser, pack)[1] != child, "there is no next box")
    view.send_keys(Keys.PAGE_DOWN, Keys.PAGE_DOWN, "n")
    expect(check_node(browser, pack)[0] == 4, "keys do not reach level 4")
    ActionChains(browser.driver).move_to_element(view).click().perform()
    expect(check_node(browser, pack)[0] == 4, "a click picks a box of another level")


def check_orbit(browser):
    """That keys and the mouse turn the view, which is then drawn again."""
    view = browser.find(VIEW)
    before = view.screenshot_as_base64
    view.send_keys(Keys.ARROW_LEFT, Keys.ARROW_LEFT, Keys.ARROW_UP, "+")
    browser.wait_for_frames()
    turned = view.screenshot_as_base64
    expect(turned != before, "keys do not turn the view")
    ActionChains(browser.driver).drag_and_drop_by_offset(view, 60, 20).perform()
    browser.wait_for_frames()
    expect(view.screenshot_as_base64 != turned, "the mouse does not turn the view")


def check_choices(browser):
    """Other trees, charts and orders."""
    def choose(label, place):
        browser.run("""
            const label = [...document.querySelectorAll("label")].find((one) => one.textContent.startsWith(arguments[0]));
            const select = label.querySelector("select");
            select.selectedIndex = arguments[1];
            select.dispatchEvent(new Event("change"));""", label, place)
        browser.wait_for_frames()

    choose("Tree", 0)
    expect(browser.run("return Number(document.querySelector('canvas.view3d').dataset.boxes)") > 0,
           "another tree has no boxes")
    choose("Compare", 3)
    expect("grid" in browser.find(".plot svg").get_attribute("aria-label"), "no kinds are compared")
    choose("Rays", 3)
    header = "return document.querySelector('.compare thead th:nth-child(3)').getAttribute('aria-sort')"
    browser.find(".compare thead th:nth-child(3) button").send_keys(Keys.ENTER)
    expect(browser.run(header) == "ascending", "the table is not sorted")
    costs = browser.run("return [...document.querySelectorAll('.compare tbody td:nth-child(3)')]"
                        ".map((cell) => parseFloat(cell.textContent))")
    expect(costs == sorted(costs), f"the order of costs is {costs}")


def check_reading(browser):
    """Charts and pictures by keys, and names for who hears the page."""
    browser.find(".plot svg").send_keys(Keys.HOME, Keys.ARROW_RIGHT)
    expect(browser.run("return document.getElementById('spoken').textContent").startswith("Level 2"),
           "a chart does not read its levels")
    browser.find(".frame").send_keys(Keys.ARROW_RIGHT)
    readout = browser.find(".readout").text
    expect(re.search(r"Pixel \d+, \d+: .*nodes per ray · .*leaf calls per ray · .*ns per ray", readout),
           f"a picture reads {readout}")
    nameless = browser.run("""
        return [...document.querySelectorAll("button, select, input, img, svg, canvas, [tabindex]")].filter((element) =>
          !(element.getAttribute("aria-label") || element.getAttribute("alt") || element.textContent.trim() ||
            element.labels?.[0]?.textContent.trim())).map((element) => element.outerHTML.slice(0, 80))""")
    expect(not nameless, f"without a name: {nameless}")
    expect(browser.run("return document.querySelectorAll('figure.chart table').length") >= 8,
           "charts without tables")


def check_policy(browser):
    """That nothing but the page's own code runs, and nothing is asked for."""
    browser.run("""
        window.broken = [];
        document.addEventListener("securitypolicyviolation", (event) => window.broken.push(event.violatedDirective));
        const script = document.createElement("script");
        script.textContent = "window.intruder = true";
        document.body.append(script);
        const image = new Image();
        image.src = "https://example.invalid/x.png";
        document.body.append(image);""")
    browser.wait("return window.broken.length >= 2")
    expect(browser.run("return window.intruder") is None, "an inline script of others runs")
    expect(any("Content Security Policy" in complaint for complaint in browser.take_complaints()),
           "the console does not tell of it")


def use_page(browser, page, output, painter):
    browser.resize(1400, 1000)
    open_page(browser, page)
    pack = Pack(page)
    expect(browser.run("return document.querySelector('canvas.view3d').dataset.painter") == painter,
           f"the view is not painted by {painter}")
    check_charts(browser)
    check_slider(browser, pack)
    check_picking(browser, pack)
    check_orbit(browser)
    check_view_is_drawn(browser)
    check_choices(browser)
    check_reading(browser)
    for width in (375, 1400):
        for scheme in ("light", "dark") if painter == "WebGL" else ("light",):
            browser.resize(width, 1000, scheme)
            browser.wait_for_frames()
            expect(browser.run("return document.documentElement.scrollWidth") == width,
                   f"the page is wider than {width}")
            name = f"report_{painter.split()[0].lower()}_{width}_{scheme}.png"
            browser.screenshot(os.path.join(output, name))
    expect(browser.take_complaints() == [], "the console tells of errors")


def check_harmful_name(browser, gas, output):
    """A mesh whose name is HTML; and several meshes on a page."""
    harmful = os.path.join(output, HARMFUL_NAME)
    write_mesh(harmful)
    page = os.path.join(output, "harmful.html")
    make_report(gas, [harmful, os.path.join(output, "bumps.obj")], page)
    open_page(browser, page)
    name = browser.find("article h2").text
    expect(name == os.path.basename(HARMFUL_NAME), f"the name is shown as {name}")
    expect(browser.run("return document.images.length") == 8, "the name made an image")
    expect(browser.run("return document.querySelectorAll('article').length") == 2, "one mesh is lost")
    expect(browser.take_complaints() == [], "a name makes the console tell of errors")


def check_saved_tree(browser, gas, output):
    mesh, tree = os.path.join(output, "bumps.obj"), os.path.join(output, "bumps.gastree")
    subprocess.run([gas, "build", mesh, "-o", tree, "--quiet"], check=True)
    page = os.path.join(output, "saved.html")
    make_report(gas, ["--load", tree], page)
    open_page(browser, page)
    expect(browser.run("return document.images.length") == 0, "a saved tree has a picture")
    expect(len(browser.driver.find_elements("css selector", ".plot svg")) == 4, "charts are missing")
    ActionChains(browser.driver).move_to_element(browser.find(VIEW)).click().perform()
    check_node(browser, Pack(page))
    expect(browser.take_complaints() == [], "a saved tree makes the console tell of errors")


def check_broken_script(browser, page, output):
    """That an error in a script would be noticed: this very test finds it."""
    with open(page, encoding="utf-8") as file:
        text = file.read()
    broken = os.path.join(output, "broken.html")
    with open(broken, "w", encoding="utf-8") as file:
        file.write(text.replace("Content-Security-Policy", "X-None").replace(
            "document.documentElement.dataset.ready =", "undefinedName.dataset.ready ="))
    browser.open(broken)
    complaints = []
    while not complaints:
        complaints = browser.take_complaints()
    expect(any("undefinedName" in complaint for complaint in complaints), f"{complaints}")
    expect(browser.run("return document.documentElement.dataset.ready") is None, "it is ready")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("--gas", "--chromium", "--driver", "--output"):
        parser.add_argument(name, required=True)
    arguments = parser.parse_args()
    output = os.path.abspath(arguments.output)
    os.makedirs(output, exist_ok=True)
    mesh, page = os.path.join(output, "bumps.obj"), os.path.join(output, "bumps.html")
    write_mesh(mesh)
    make_report(arguments.gas, [mesh], page)
    with Browser(arguments.chromium, arguments.driver) as browser:
        use_page(browser, page, output, "WebGL")
        check_policy(browser)
        check_harmful_name(browser, arguments.gas, output)
        check_saved_tree(browser, arguments.gas, output)
        check_broken_script(browser, page, output)
    with Browser(arguments.chromium, arguments.driver, has_webgl=False) as browser:
        use_page(browser, page, output, "2D canvas")
    print("report_test: done")


if __name__ == "__main__":
    try:
        main()
    except AssertionError as failure:
        sys.exit(f"report_test: {failure}")
