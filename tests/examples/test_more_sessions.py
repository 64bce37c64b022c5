# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The examples of sessions that show one thing each."""

import subprocess

from example_run import ExampleTest, program


class AllTypes(ExampleTest):
    def test_show_a_value_of_each_type_and_every_change(self):
        sampler = self.start("all_types")
        for line in ("running: bool yes", "level: double 0.25", "count: int64 9223372036854775807",
                     "started: timestamp 86400000000000 ns since 1970",
                     "uptime: duration 60000000000 ns"):
            with self.subTest(line):
                sampler.wait_for_anywhere(f"^{line}$")
        sampler.wait_for_anywhere(r'^label: string "none" \(do not use\)$')
        sampler.type("a label of several words")
        sampler.wait_for_anywhere('^label: string "a label of several words"$')
        self.assertEqual(sampler.end_input(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("all_types")


class DefinitionUpgrade(ExampleTest):
    def test_report_what_vanishes_and_changes_and_show_no_value_under_another_type(self):
        tank = self.start("upgraded_provider", folder="definition_upgrade")
        tank.wait_for("^ready$")
        watcher = self.start("upgrade_watcher", folder="definition_upgrade")
        watcher.wait_for("^level: 40 live$")
        watcher.wait_for_anywhere("^all: alarm bool live$")

        tank.type("")
        tank.wait_for("^ready$")
        watcher.wait_for_anywhere("^level: 40 stale$")
        watcher.wait_for_anywhere("^alarm: vanished$")
        watcher.wait_for_anywhere("^level: type 2 is now type 1$")
        watcher.wait_for_anywhere("^all: valve_open bool live$")
        watcher.wait_for_anywhere("^all: level double live$")

        seen = len(watcher.lines)
        tank.type("")
        tank.wait_for("^ready$")
        watcher.wait_for_anywhere("^level: 40 live$", seen)
        self.assertEqual(watcher.end_input(), 0)
        self.assertEqual(tank.end_input(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("upgraded_provider", folder="definition_upgrade")
        self.assert_usage("upgrade_watcher", folder="definition_upgrade")


class ManyProviders(ExampleTest):
    def test_are_on_the_hub_one_by_one_and_leave_it_alone(self):
        gateway = self.start("many_providers")
        for number in (1, 2, 3):
            gateway.type(f"{number} {number}.5")
        for number in (1, 2, 3):
            gateway.wait_for_anywhere(f"^device-{number}: ready$")
        logger = self.start("json_logger")
        for number in (1, 2, 3):
            logger.wait_for_anywhere(f'"device-{number}","path":"measured".*"value":{number}.5')
        gateway.type("2 7.5")
        logger.wait_for('"device-2","path":"measured".*"value":7.5')

        gateway.type("2")
        logger.wait_for(
            '^{"provider":"device-2","status":"the registry does not list the provider"}$')
        gateway.type("3 8.5")
        logger.wait_for('"device-3","path":"measured".*"value":8.5')

        self.assertEqual(gateway.end_input(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("many_providers")


class Latency(ExampleTest):
    def test_measure_both_ways_of_sending(self):
        latency = self.start("latency")
        for name in ("collected for up to 1 ms", "sent immediately"):
            figures = latency.wait_for(
                rf"^{name}: 1000 changes, median ([\d.]+) us, 99 % within ([\d.]+) us$")
            self.assertLess(0, float(figures[1]))
            self.assertLessEqual(float(figures[1]), float(figures[2]))
        self.assertEqual(latency.end_input(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("latency")


class EventLoop(ExampleTest):
    def test_act_on_changes_writes_and_input_in_one_thread(self):
        oven = self.start("provider_session")
        oven.wait_for("^ready$")
        thermostat = self.start("event_loop")
        thermostat.wait_for("^heating: off$")  # nobody has measured the temperature yet
        oven.type(100)
        thermostat.wait_for("^heating: on$")

        thermostat.type(90)
        thermostat.wait_for("^heating: off$")
        self.start("json_logger").wait_for('"provider":"thermostat","status":"ready"')
        written = subprocess.run(
            [program("write_value", "write_commands"), *self.access, "thermostat", "set_point",
             "110"],
            capture_output=True, text=True, check=False)

        self.assertRegex(written.stdout, r"\nnow: .*> double +110 ")
        thermostat.wait_for("^heating: on$")
        self.assertEqual(oven.end_input(), 0)
        thermostat.wait_for("^heating: off$")  # the temperature is stale
        self.assertEqual(thermostat.end_input(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("event_loop")
