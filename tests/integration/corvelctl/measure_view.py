# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Measures view with 10,000 variables of which 1,000 change ten times a second: what the page and
corvelctl cost, and how fluently the page scrolls. With an argument it only watches the memory for so many
minutes. Needs a quiet machine; run it like a test, with CORVEL_HUB_BUILD set to a release build."""

import os
import pathlib
import sys
import time

from browser import Browser
from tool_run import FLOOD_PROVIDER, FollowingTest
from view_run import View

TICK = os.sysconf("SC_CLK_TCK")
VARIABLES, CHANGING, RATE = "10000", "1000", "10"
SPAN = 15  # seconds


def seconds_of(process):
    fields = pathlib.Path(f"/proc/{process}/stat").read_text(encoding="ascii").rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / TICK


def mebibytes_of(process):
    lines = pathlib.Path(f"/proc/{process}/smaps_rollup").read_text(encoding="ascii").splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Pss:")) / 1024


def find_renderers(browser):
    """The processes of the browser that run pages."""
    found = []
    for path in pathlib.Path("/proc").glob("[0-9]*/cmdline"):
        try:
            words = path.read_bytes().decode(errors="replace")
        except OSError:
            continue
        if "--type=renderer" in words and browser.folder in words:
            found.append(int(path.parent.name))
    return found


class Measuring(FollowingTest):
    def runTest(self):  # the name that unittest looks for
        self.browser = Browser()
        self.addCleanup(self.browser.quit)
        self.start_provider(FLOOD_PROVIDER, RATE, VARIABLES, CHANGING)
        self.view = View(self, "flood")
        self.browser.open(self.view.link)
        self.browser.wait_text("#count", "10,000 variables")
        self.processes = {"page": find_renderers(self.browser), "corvelctl": [self.view.process.pid]}
        if len(sys.argv) > 1:
            self.soak(float(sys.argv[1]))
            return
        self.measure("rows closed")
        self.open_rows()
        self.measure("rows open, changing")
        self.browser.element("0", ".chart").click()
        for name in range(1, 10):
            self.browser.drag(str(name), ".panel", 0.2, 0.5)
        self.measure("and a chart of ten traces")
        self.scroll()

    def open_rows(self):
        self.browser.run("document.querySelector('#rows').focus()")
        self.browser.wait_row("numbers")
        self.browser.element("numbers").click()
        self.browser.wait_row("1", quality="good")

    def seconds(self, name):
        return sum(seconds_of(one) for one in self.processes[name])

    def mebibytes(self, name):
        return max(mebibytes_of(one) for one in self.processes[name])

    def measure(self, what):
        begin, before = time.monotonic(), {name: self.seconds(name) for name in self.processes}
        time.sleep(SPAN)
        span = time.monotonic() - begin
        shown = [f"{name} {100 * (self.seconds(name) - before[name]) / span:.0f} % of a core, "
                 f"{self.mebibytes(name):.0f} MiB" for name in self.processes]
        print(f"{what}: {'; '.join(shown)}", flush=True)

    def scroll(self):
        frames = self.browser.driver.execute_async_script("""
            const done = arguments[0], box = document.querySelector("#rows"), times = [];
            const step = (now) => {
                times.push(now);
                box.scrollTop += 60;
                if (now - times[0] < 5000) { requestAnimationFrame(step); } else { done(times); }
            };
            requestAnimationFrame(step)""")
        gaps = sorted(later - sooner for sooner, later in zip(frames, frames[1:]))
        print(f"scrolling: {1000 * len(gaps) / (frames[-1] - frames[0]):.0f} frames/s, "
              f"95 % of the frames within {gaps[int(len(gaps) * 0.95)]:.0f} ms", flush=True)

    def soak(self, minutes):
        self.open_rows()
        self.browser.element("0", ".chart").click()
        end = time.monotonic() + 60 * minutes
        while time.monotonic() < end:
            print(f"{time.strftime('%H:%M:%S')} page {self.mebibytes('page'):.0f} MiB, "
                  f"corvelctl {self.mebibytes('corvelctl'):.0f} MiB; {self.browser.text('#held')}", flush=True)
            time.sleep(30)


if __name__ == "__main__":
    Measuring.setUpClass()
    result = Measuring().run()
    Measuring.doClassCleanups()
    sys.exit(0 if result.wasSuccessful() else str(result.errors + result.failures))
