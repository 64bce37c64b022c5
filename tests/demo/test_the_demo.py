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
    hub down: oven and watcher returned after \d+\.\d s, 2\d -> [3-5]\d
    hub down: boiler had to be started again, monitor did not return
    all this in \d\d s
$"""

# In this order, and other lines in between.
SECOND_ACT = "(?ms)" + ".*".join([
    r"^==> taking down the server for 6 s, the token service for 15 s:$",
    r"^watcher: 2\d \(do not use\)$",
    r"^==> the server is back, but admits nobody without a token$",
    r"^boiler: Failed to receive new NATS authentication token",
    r"^boiler: boiler: Provider boiler: failed to publish",
    r"^==> the boiler has ended: exit code 1$",
    r"^monitor: Failed to receive new NATS authentication token",
    r"^==> the monitor makes no third attempt, and still shows its values as good$",
    r"^==> the token service is back$",
    r"^watcher: [3-5]\d$",
    r"^==> starting the boiler again; the monitor does not notice$",
    r"^boiler: providing"])


class TheDemo(DemoTest):
    def test_shows_everything_in_seventy_seconds_and_leaves_nothing_behind(self):
        started = time.monotonic()

        code, output, errors = self.run_to_end()

        self.assertEqual((code, errors), (0, ""), output)
        self.assertLess(time.monotonic() - started, 70)
        self.assertRegex(output, SUMMARY)
        self.assertRegex(output, SECOND_ACT)
        self.assertRegex(output, r"\n +\d\.\d s  pressure_bar \d\.\d\d, temperature_celsius \d+")
        self.assertNotIn("\x1b", output)
        self.assert_nothing_is_left()
