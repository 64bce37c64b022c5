# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The demo as everyone sees it whose output is no terminal."""

import time

from demo_run import DemoTest

SUMMARY = r"""==> everything was seen:
    list of providers: boiler
    definition: 8 variables of 6 types
    live: \d+ change events in 5\.\d\d s
    write: set point 150\.00, temperature 1\d\d\.\d\d -> 1[3-5]\d\.\d\d
    boiler killed: lost, 8 of 8 values are bad
    boiler started: returned, 8 of 8 values are good
    nats-server restarted: both reconnected, changes again after \d\.\d\d s
    all this in \d\d s
$"""


class TheDemo(DemoTest):
    def test_shows_everything_in_forty_seconds_and_leaves_nothing_behind(self):
        started = time.monotonic()

        code, output, errors = self.run_to_end()

        self.assertEqual((code, errors), (0, ""), output)
        self.assertLess(time.monotonic() - started, 40)
        self.assertRegex(output, SUMMARY)
        self.assertRegex(output, r"\n +\d\.\d s  pressure_bar \d\.\d\d, temperature_celsius \d+")
        self.assertNotIn("\x1b", output)
        self.assert_nothing_is_left()
