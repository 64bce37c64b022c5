# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""A browser without a window, for the tests of the page of `corvelctl view`."""

import base64
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import tarfile
import tempfile
import time

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

from tool_run import BUILD, PATIENCE

PICTURES = BUILD / "view-pictures"
AXE = "axe-core@4.14.1"
AXE_HASH = "sha512-FHfa+lmNjQZfJz1q8wKqIDwC6DExcHt/pkjNQb09a3NPjCKg2rhu5qb2S4r76ASyFNNtuFooJpZe37OgudVGtQ=="
WIDE, NARROW = (1280, 800), (320, 640)


def fetch_axe():
    """The program that checks accessibility, fetched once and compared with its hash; None without npm."""
    kept = BUILD / "axe.min.js"
    if kept.exists():
        return kept.read_text(encoding="utf-8")
    if shutil.which("npm") is None:
        return None
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["npm", "pack", "--silent", AXE], cwd=folder, check=True, stdout=subprocess.DEVNULL)
        archive, = pathlib.Path(folder).glob("*.tgz")
        found = base64.b64encode(hashlib.sha512(archive.read_bytes()).digest()).decode()
        if f"sha512-{found}" != AXE_HASH:
            raise RuntimeError(f"{AXE} has another hash: {found}")
        with tarfile.open(archive) as files:
            text = files.extractfile("package/axe.min.js").read().decode("utf-8")
    kept.write_text(text, encoding="utf-8")
    return text


class Browser:
    """Every wait ends with an error that shows what was waited for."""

    def __init__(self):
        self.folder = tempfile.mkdtemp()
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--no-first-run",
                         "--disable-background-networking", "--force-color-profile=srgb",
                         f"--user-data-dir={self.folder}/profile"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        environment = {**os.environ, "HOME": self.folder}
        self.driver = webdriver.Chrome(
            service=Service("/usr/bin/chromedriver", env=environment), options=options)
        self.driver.set_script_timeout(PATIENCE)
        self.driver.execute_cdp_cmd(
            "Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": self.folder})
        self.resize(WIDE)

    def quit(self):
        self.driver.quit()
        shutil.rmtree(self.folder, ignore_errors=True)

    # -- the page ---------------------------------------------------------------------------------

    def open(self, address):
        self.driver.get("data:,")
        self.driver.get(address)

    def resize(self, size):
        self.driver.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": size[0], "height": size[1], "deviceScaleFactor": 1, "mobile": False})

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """The text of an element that may be replaced meanwhile; empty if it is not shown."""
        return self.run(
            "const one = document.querySelector(arguments[0]); return one && one.checkVisibility()"
            " ? one.textContent : ''", selector)

    def click(self, selector):
        self.find(selector).click()

    def type(self, *keys):
        self.driver.switch_to.active_element.send_keys(*keys)

    def fill(self, selector, text):
        element = self.find(selector)
        element.send_keys(Keys.CONTROL, "a")
        element.send_keys(text)

    def choose(self, selector, value):
        self.run("const one = document.querySelector(arguments[0]); one.value = arguments[1];"
                 "one.dispatchEvent(new Event('change'))", selector, value)

    def wait(self, condition, what):
        deadline = time.monotonic() + PATIENCE
        while True:
            try:
                result = condition()
            except StaleElementReferenceException:
                result = None
            if result:
                return result
            if time.monotonic() > deadline:
                self.picture("failed")
                raise AssertionError(f"waited without success: {what}: {self.rows()}")
            time.sleep(0.05)

    def wait_text(self, selector, part):
        self.wait(lambda: part in self.text(selector), f"'{part}' in {selector}: {self.text(selector)}")

    # -- the rows ---------------------------------------------------------------------------------

    def rows(self):
        """The rows that are shown, by what is written in their first column."""
        return self.run("""
            const cells = ["value", "quality", "age"];
            const all = [...document.querySelectorAll(".row:not([hidden])")].map((row) => [
                row.querySelector(".label").textContent, {
                    ...Object.fromEntries(cells.map((name) => [name, row.querySelector("." + name).textContent])),
                    level: row.getAttribute("aria-level"), selected: row.getAttribute("aria-selected"),
                    kind: row.dataset.quality,
                    struck: getComputedStyle(row.querySelector(".label")).textDecorationLine === "line-through"}]);
            return Object.fromEntries(all)""")

    def row(self, name):
        return self.rows().get(name, {})

    def element(self, name, part=""):
        """The element of a row, or a part of it."""
        return self.run(
            "const row = [...document.querySelectorAll('.row:not([hidden])')].find("
            "(one) => one.querySelector('.label').textContent === arguments[0]);"
            "return arguments[1] ? row.querySelector(arguments[1]) : row", name, part)

    def wait_row(self, name, **wanted):
        self.wait(lambda: name in self.rows() and all(self.row(name)[key] == value for key, value in wanted.items()),
                  f"row {name} {wanted}")

    def wait_all_stale(self):
        """Rows change with the next picture, the banner at once."""
        self.wait(lambda: {one["kind"] for one in self.rows().values() if one["value"]} == {"stale"},
                  "all values stale")

    def drag(self, name, selector, x, y):
        """Drags a row to a place of an element, given as a share of its size."""
        self.run("""
            const [row, target, x, y] = arguments;
            const place = target.getBoundingClientRect();
            const data = new DataTransfer();
            const at = {bubbles: true, cancelable: true, dataTransfer: data,
                        clientX: place.left + x * place.width, clientY: place.top + y * place.height};
            row.dispatchEvent(new DragEvent("dragstart", {bubbles: true, dataTransfer: data}));
            target.dispatchEvent(new DragEvent("dragover", at));
            target.dispatchEvent(new DragEvent("drop", at));
            row.dispatchEvent(new DragEvent("dragend", {bubbles: true, dataTransfer: data}))""",
                 self.element(name), self.find(selector), x, y)

    # -- results ----------------------------------------------------------------------------------

    def picture(self, name):
        PICTURES.mkdir(exist_ok=True)
        self.driver.save_screenshot(str(PICTURES / f"{name}.png"))

    def downloaded(self, name):
        """The bytes of a file that the page has offered."""
        path = pathlib.Path(self.folder) / name
        self.wait(lambda: path.exists() and path.stat().st_size > 0, f"download of {name}")
        content = path.read_bytes()
        path.unlink()
        return content

    def errors(self):
        """What the page has reported since the last call, without requests to a server that was ended."""
        return [entry["message"] for entry in self.driver.get_log("browser")
                if entry["source"] != "network" and entry["level"] == "SEVERE"]

    def findings(self, axe):
        """What the accessibility check finds."""
        found = self.driver.execute_async_script(
            axe + ";const done = arguments[arguments.length - 1]; axe.run(document, {resultTypes: ['violations']})"
            ".then((all) => done(JSON.stringify(all.violations)))")
        return [f"{one['id']}: {one['help']}: {[node['html'] for node in one['nodes']][:3]}"
                for one in json.loads(found)]
