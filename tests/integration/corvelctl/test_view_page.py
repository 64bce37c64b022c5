# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The page of view in a browser: what a person does with it, and what it shows when something fails."""

import json
import re
import signal

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from browser import NARROW, PICTURES, WIDE, Browser, fetch_axe
from tool_run import FIXED_PROVIDER, FLOOD_PROVIDER, FollowingTest
from view_run import View

HOSTILE = "<img/src=x/onerror=hacked=1>"
HOSTILE_NAME = HOSTILE.removesuffix(">")  # a session follows no provider with ">", a wildcard of subjects


class PageTest(FollowingTest):
    """A test with the browser of its test program."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        super().setUp()
        self.browser.resize(WIDE)
        self.addCleanup(lambda: self.assertEqual(self.browser.errors(), []))

    def open(self, *arguments, port=0):
        view = View(self, *arguments, port=port)
        self.browser.open(view.link)
        self.browser.wait_text("#state", "recording" if "jsonl" in str(arguments) else "live")
        return view


class Values(PageTest):
    def test_shows_values_qualities_and_formats(self):
        self.start_provider()
        self.open("odd")
        browser = self.browser
        browser.wait_row("on", value="true", quality="good", kind="good")
        browser.wait_row("refuses", value="1.5", quality="initial", kind="uncertain")
        browser.wait_row("infinity", value="inf")
        browser.wait_row("large", value="9007199254740993")
        browser.wait_row("span", value="0.25s")
        browser.choose("#digits", "3")
        browser.wait_row("refuses", value="1.500")
        self.assertNotIn("token", browser.driver.current_url)

    def test_filters_and_keeps_the_filter_in_the_address(self):
        self.start_provider()
        self.open("odd")
        browser = self.browser
        browser.wait_row("on")
        browser.type("/")
        browser.type("NUMBERS large")
        browser.wait(lambda: set(browser.rows()) == {"odd", "numbers", "large"}, "the filter")
        browser.driver.refresh()
        browser.wait(lambda: set(browser.rows()) == {"odd", "numbers", "large"}, "the filter again")
        browser.fill("#filter", "nothing")
        browser.wait_text("#no-rows", "No variable matches")

    def test_is_used_with_the_keyboard_alone(self):
        self.start_provider()
        self.open("odd")
        browser = self.browser
        browser.wait_row("on")
        browser.find("#rows").send_keys(Keys.HOME)
        browser.wait_row("odd", selected="true")
        browser.type(Keys.ARROW_DOWN)
        browser.wait_row("answers", selected="true")
        browser.type(Keys.ARROW_LEFT)
        browser.wait(lambda: "refuses" not in browser.rows(), "a closed branch")
        browser.type(Keys.ARROW_RIGHT, Keys.ARROW_DOWN, Keys.ARROW_DOWN)
        browser.wait_row("never", selected="true")
        browser.type("c")
        browser.wait_text(".legend", "answers/never")
        browser.type(Keys.ARROW_DOWN, "C")
        browser.wait_text(".legend li:nth-child(2)", "answers/refuses")
        browser.type("?")
        browser.wait_text("#help-dialog", "move in the rows")
        browser.type(Keys.ESCAPE)

    def test_shows_thousands_of_variables_with_few_rows(self):
        self.start_provider(FLOOD_PROVIDER, "10", "5000")
        self.open("flood")
        browser = self.browser
        browser.wait_text("#count", "5,000 variables")
        browser.find("#rows").send_keys(Keys.HOME, Keys.ARROW_DOWN, Keys.ARROW_RIGHT, Keys.END)
        browser.wait_row("4999", quality="good")
        self.assertLess(len(browser.rows()), 60)

    def test_never_takes_texts_for_markup(self):
        self.start_provider()
        self.accepted(self.hub.start_provider(
            HOSTILE_NAME, 7, "<img/src,x/onerror>=double", "plain=bool", 0, program=FIXED_PROVIDER))
        self.expect(0, "write", "odd", f"texts/plain={HOSTILE}")
        self.open("--allow-writes")
        browser = self.browser
        browser.wait(lambda: {HOSTILE_NAME, "<img", "src,x", "onerror>"} < set(browser.rows()), "the hostile provider")
        browser.fill("#filter", "plain")
        browser.wait_row("plain")
        browser.fill("#filter", "odd texts/plain")
        browser.wait_row("plain", value=HOSTILE)
        browser.element("plain", ".chart").click()
        browser.element("plain", ".write").click()
        browser.wait_text("#write-path", "texts/plain")
        browser.type(Keys.ENTER)
        browser.wait_text("#write-old", HOSTILE)
        browser.type(Keys.ENTER)
        browser.wait_text("#write-result", "Confirmed")
        browser.click("#write-cancel")
        browser.click("#tab-events")
        browser.wait_text("#event-list", HOSTILE)
        browser.wait_text("#event-list", HOSTILE_NAME)
        self.assertEqual(browser.run("return [window.hacked ?? null, document.images.length]"), [None, 0])


class Charts(PageTest):
    def test_charts_values_in_one_chart_and_on_a_second_axis(self):
        self.start_provider(FLOOD_PROVIDER, "10", "3")
        self.start_provider()
        self.open("--history", "2M")
        browser = self.browser
        browser.wait_row("0", quality="good")
        browser.element("0", ".chart").click()
        browser.wait_text(".legend", "flood numbers/0")
        browser.drag("1", ".panel", 0.2, 0.5)
        browser.drag("2", ".panel", 0.9, 0.5)
        browser.drag("on", ".panel", 0.2, 0.5)
        browser.wait_text(".legend li:nth-child(3) .axis", "right")
        browser.wait(lambda: re.match(r"\d", browser.text(".legend .reading")), "a value")
        browser.wait_text(".legend li:nth-child(4) .reading", "true")
        self.assertGreater(browser.run("return document.querySelector('.bands').height"), 10)
        browser.drag("span", "#panels", 0.5, 0.9)
        browser.wait_text(".panel:nth-of-type(2) .legend", "odd times/span")
        browser.click(".panel:nth-of-type(2) > header .tools .close")
        self.check_join()
        browser.wait_text("#held", "of 2.0 MB")
        browser.picture("charts")
        self.check_address()

    def check_join(self):
        browser = self.browser
        browser.element("span", ".chart").click()
        browser.wait_text(".panel:nth-of-type(2) .legend", "odd times/span")
        self.assertEqual(browser.text(".panel:nth-of-type(1) .tools button:nth-child(3)"), "")
        browser.click(".panel:nth-of-type(2) .tools button:nth-child(3)")
        browser.wait_text(".panel:nth-of-type(1) .legend li:nth-child(5)", "odd times/span")
        self.assertEqual(browser.text(".panel:nth-of-type(2)"), "")
        self.assertTrue(browser.run("return document.activeElement === document.querySelector('.panel .plot')"))
        browser.click(".legend li:nth-child(5) .close")

    def check_address(self):
        browser = self.browser
        browser.choose("#window", "300")
        address = browser.driver.current_url
        self.assertIn("#charts=flood~numbers%2F0,flood~numbers%2F1,flood~numbers%2F2~r,odd~flags%2Fon", address)
        self.assertIn("window=300", address)
        browser.open(address)
        browser.wait_text(".legend li:nth-child(3) .axis", "right")
        browser.wait(lambda: re.match(r"\d", browser.text(".legend .reading")), "the chart again")

    def test_pauses_zooms_and_reads_values_at_the_cursor(self):
        self.start_provider(FLOOD_PROVIDER, "10", "3")
        self.open("flood")
        browser = self.browser
        browser.wait_row("0", quality="good")
        browser.element("0", ".chart").click()
        browser.wait(lambda: re.match(r"\d", browser.text(".legend .reading")), "a value")
        browser.choose("#window", "10")
        browser.wait(lambda: float(browser.text(".legend .reading")) > 30, "some values")
        browser.click("#pause")
        browser.wait_text("#pause", "Follow")
        self.assertIn("from=", browser.driver.current_url)
        browser.find(".plot").send_keys(Keys.ARROW_LEFT)
        browser.wait(lambda: re.match(r"\d\d:", browser.text(".legend .when")), "the time at the cursor")
        latest = float(browser.text(".legend .reading"))
        browser.find(".plot").send_keys(*[Keys.ARROW_LEFT] * 2)
        browser.wait(lambda: float(browser.text(".legend .reading")) < latest, "an earlier value")
        width = self.width()
        browser.find(".plot").send_keys("+")
        browser.wait(lambda: self.width() < width, "a zoomed chart")
        self.zoom_with_the_mouse()
        self.save()
        browser.click("#pause")
        browser.wait_text("#pause", "Pause")

    def width(self):
        return float(re.search(r"to=(\d+)", self.browser.driver.current_url)[1]) \
            - float(re.search(r"from=(\d+)", self.browser.driver.current_url)[1])

    def zoom_with_the_mouse(self):
        browser, width = self.browser, self.width()
        ActionChains(browser.driver).move_to_element_with_offset(browser.find(".lines"), -60, 0) \
            .click_and_hold().move_by_offset(120, 0).release().perform()
        browser.wait(lambda: self.width() < width, "a chart zoomed with the mouse")

    def save(self):
        browser = self.browser
        browser.click(".panel .tools button:nth-child(1)")
        self.assertEqual(browser.downloaded("chart.png")[:8], b"\x89PNG\r\n\x1a\n")
        browser.click(".panel .tools button:nth-child(2)")
        rows = browser.downloaded("chart.csv").decode().splitlines()
        self.assertEqual(rows[0], "time,provider,path,value,status")
        self.assertRegex(rows[1], r"^20\d\d-.*Z,flood,numbers/0,[\d.]+,good$")

    def test_shows_a_recording(self):
        self.start_provider(FLOOD_PROVIDER, "20", "2")
        self.expect(0, "record", "flood", "-o", self.folder / "flood.jsonl", "--for", "2s")
        self.open(self.folder / "flood.jsonl")
        browser = self.browser
        browser.wait_row("0", quality="good")
        browser.element("0", ".chart").click()
        browser.choose("#window", "0")
        browser.wait(lambda: re.match(r"\d", browser.text(".legend .reading")), "a value")


class Faults(PageTest):
    def test_shows_a_killed_provider_in_place_and_its_return(self):
        provider = self.start_provider()
        self.open("odd")
        browser = self.browser
        browser.wait_row("on", quality="good")
        self.kill(provider)
        browser.wait_row("on", value="true", quality="stale", kind="stale", struck=True)
        browser.wait_row("odd", quality="lost", struck=True)
        browser.element("on").click()
        browser.wait_text("#detail-text", "Stale: provider odd is lost: the registry does not list")
        browser.picture("lost")
        self.start_provider()
        browser.wait_row("on", quality="good", struck=False)
        browser.click("#tab-events")
        browser.wait_text("#event-list", "provider back")
        browser.choose("#event-group", "providers")
        browser.fill("#event-filter", "lost")
        browser.wait(lambda: browser.run("return document.querySelectorAll('#event-list li').length") == 1, "one event")
        browser.click("#event-save")
        self.assertRegex(browser.downloaded("events.csv").decode(), r"(?m)^20\d\d.*Z,lost,odd,")

    def test_shows_a_lost_hub_in_large_letters_and_its_return(self):
        self.start_provider()
        self.open("odd")
        browser = self.browser
        browser.wait_row("on", quality="good")
        self.hub.fault("nats-down", "4s")
        browser.wait_text("#banner-text", "corvelctl has lost the hub")
        browser.wait_all_stale()
        browser.wait(lambda: browser.text("#banner-text") == "", "the hub again")
        browser.wait_row("on", quality="good")

    def test_shows_when_corvelctl_is_killed_and_returns(self):
        self.start_provider()
        view = self.open("odd")
        browser = self.browser
        browser.wait_row("refuses", quality="initial")
        browser.element("refuses", ".chart").click()
        view.process.kill()
        browser.wait_text("#banner-text", "No connection to corvelctl. All values are stale")
        browser.wait_all_stale()
        browser.find("#rows").send_keys(Keys.HOME)
        browser.wait_text("#detail-text", "Stale: this page has no connection to corvelctl")
        browser.picture("cut")
        View(self, "odd", port=view.port)
        browser.wait(lambda: browser.text("#banner-text") == "", "corvelctl again")
        browser.wait_row("refuses", quality="initial")
        browser.wait_text(".legend .reading", "1.5")

    def test_shows_within_seconds_that_corvelctl_hangs(self):
        self.start_provider()
        view = self.open("odd")
        self.browser.wait_row("on", quality="good")
        view.process.send_signal(signal.SIGSTOP)
        self.addCleanup(view.process.send_signal, signal.SIGCONT)
        self.browser.wait_row("on", quality="stale")
        view.process.send_signal(signal.SIGCONT)
        self.browser.wait_row("on", quality="good")

    def test_shows_the_difference_of_a_replaced_definition(self):
        first = self.accepted(self.hub.start_provider("fix", 7, "a=double", "b=bool", 0, program=FIXED_PROVIDER))
        self.open("fix")
        browser = self.browser
        browser.wait_row("b", quality="good")
        self.kill(first)
        self.accepted(self.hub.start_provider("fix", 8, "b=bool", "c=double", 0, program=FIXED_PROVIDER))
        browser.wait_row("c", quality="good")
        browser.wait_row("a", quality="stale", struck=True)
        browser.click("#tab-events")
        browser.wait_text("#event-list", "- a  double read-only\n+ c  double read-only")

    def test_receives_nothing_while_nobody_sees_it(self):
        self.start_provider(FLOOD_PROVIDER, "10", "3")
        view = self.open("flood")
        browser = self.browser
        seen = browser.driver.current_window_handle
        browser.driver.switch_to.new_window("tab")
        self.wait_for(lambda: not self.is_connected(view), "the end of the stream")
        browser.driver.close()
        browser.driver.switch_to.window(seen)
        browser.wait_text("#state", "live")

    @staticmethod
    def is_connected(view):
        with open("/proc/net/tcp", encoding="ascii") as sockets:
            return any(f":{int(view.port):04X} " in line and line.split()[3] == "01" for line in sockets)


class Writing(PageTest):
    def write(self, name, value):
        browser = self.browser
        browser.element(name, ".write").click()
        browser.wait_text("#write-path", name)
        if browser.find("#write-value").tag_name == "input":
            browser.fill("#write-value", value)
        else:
            browser.choose("#write-value", value)
        browser.click("#write-next")
        browser.wait_text("#write-new", value)
        browser.click("#write-next")
        browser.wait(lambda: not browser.text("#write-result").startswith("Waiting"), "an outcome")
        outcome = browser.text("#write-result")
        browser.picture(f"write-{name}")
        browser.click("#write-cancel")
        return outcome

    def test_writes_and_shows_what_became_of_it(self):
        self.start_provider()
        self.open("odd", "--allow-writes")
        browser = self.browser
        browser.wait_row("on", value="true")
        self.assertTrue(self.write("on", "false").startswith("Confirmed"))
        browser.wait_row("on", value="false")
        self.assertIn("Refused: the provider holds 1.5", self.write("refuses", "7"))
        self.assertIn("Refused: the provider holds 100", self.write("limits", "500"))
        self.correct_a_write()
        self.assertIn("Not seen back", self.write("never", "7"))
        self.assertIn('Not sent: "much" is no int64', self.write("large", "much"))
        browser.click("#tab-events")
        browser.choose("#event-group", "writes")
        browser.wait_text("#event-list", "flags/on  true -> false: confirmed")
        browser.wait_text("#event-list", "answers/never  1.5 -> 7: not seen back, from 127.0.0.1")
        browser.wait_text("#event-list", "-> 500: refused, the provider holds 100, from 127.0.0.1")

    def correct_a_write(self):
        browser = self.browser
        browser.element("limits", ".write").click()
        browser.fill("#write-value", "501")
        browser.click("#write-next")
        browser.click("#write-next")
        browser.wait_text("#write-result", "Refused")
        browser.click("#write-back")
        browser.fill("#write-value", "99")
        browser.click("#write-next")
        self.assertEqual(browser.text("#write-result"), "")
        browser.click("#write-next")
        browser.wait_text("#write-result", "Confirmed")
        browser.click("#write-cancel")

    def test_offers_no_write_without_permission(self):
        self.start_provider()
        self.open("odd")
        self.browser.wait_row("on", value="true")
        self.assertFalse(self.browser.element("on", ".write").is_displayed())


class Looks(PageTest):
    """Pictures, which are kept, of the boiler, and the check for accessibility."""

    def setUp(self):
        super().setUp()
        for name in [name for name in self.environment if name.startswith("CORVEL")]:
            del self.environment[name]

    def check(self, axe, name):
        self.browser.picture(name)
        if axe is not None:
            self.assertEqual(self.browser.findings(axe), [], name)

    def test_is_accessible_in_light_dark_and_narrow(self):
        axe = fetch_axe()
        view = self.open("--demo", "--allow-writes")
        browser = self.browser
        browser.open(view.base + "/#window=15&charts=boiler~temperature_celsius,boiler~set_point_celsius,"
                     "boiler~pressure_bar~r,boiler~pump_running,boiler~mode;boiler~level_mm")
        browser.wait_text("#state", "live")
        browser.wait(lambda: re.match(r"\d", browser.text(".legend .reading")), "a value")
        browser.wait_text("#held", "History")
        browser.wait(lambda: int(re.search(r"([\d,]+) changes", browser.text("#held"))[1].replace(",", "")) > 300, "lines")
        browser.element("temperature_celsius").click()
        self.check(axe, "light")
        self.check_names()
        browser.click("#theme")
        self.check(axe, "dark")
        self.check_narrow(axe)
        browser.click("#theme")
        browser.element("set_point_celsius", ".write").click()
        browser.fill("#write-value", "150")
        browser.click("#write-next")
        self.check(axe, "write")
        browser.click("#write-next")
        browser.wait_text("#write-result", "Confirmed")
        browser.click("#write-cancel")
        self.hub_of_demo_fails(axe)
        browser.click("#tab-events")
        self.check(axe, "events")
        if axe is None:
            self.skipTest("npm, which fetches the accessibility check, is not installed")

    def check_narrow(self, axe):
        browser = self.browser
        browser.resize(NARROW)
        for part in ("values", "charts", "events"):
            browser.click(f"#tab-{part}")
            self.check(axe, f"narrow-{part}")
            wide = browser.run("return document.documentElement.scrollWidth")
            self.assertLessEqual(wide, NARROW[0])
        browser.click("#tab-values")
        self.check_names()
        browser.resize(WIDE)
        browser.wait(lambda: browser.find("#tab-charts").get_attribute("aria-selected") == "true", "the tab of charts")

    def check_names(self):
        self.browser.wait(lambda: self.browser.run(
            "return [...document.querySelectorAll('.row:not([hidden]) .label')]"
            ".every((one) => one.scrollWidth <= one.clientWidth)"), "whole names")

    def hub_of_demo_fails(self, axe):
        browser = self.browser
        self.expect(0, "dev", "fault", "nats-down", "4s")
        browser.wait_text("#banner-text", "corvelctl has lost the hub")
        self.check(axe, "hub-lost")
        browser.wait(lambda: browser.text("#banner-text") == "", "the hub again")
        browser.wait_row("temperature_celsius", quality="good", struck=False)
        browser.wait(lambda: browser.run("return document.querySelectorAll('.lines canvas').length") > 1, "a chart")
        self.check(axe, "gap")
