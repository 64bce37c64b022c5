# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The furnace and the logger, through a restart of the server and of each other."""

import json
import signal

from example_run import ExampleTest

ZONES = 200


class FurnaceAndJsonLogger(ExampleTest):
    def readings(self, logger):
        """What the logger has written of the furnace's variables, each line parsed."""
        lines = [json.loads(line) for line in logger.lines]
        return [line for line in lines if line["provider"] == "furnace" and "path" in line]

    def test_log_every_variable_through_a_restart_of_the_server(self):
        logger = self.start("json_logger")
        logger.wait_for('^{"provider":"","status":"ready"}$')
        furnace = self.start("furnace")
        furnace.wait_for("^ready$")
        logger.wait_for('^{"provider":"furnace","status":"ready"}$')
        logger.wait_for('zones/200/temperature.*"live":true')

        self.restart_server()

        logger.wait_for('zones/200/temperature.*"live":false')
        logger.wait_for('^{"provider":"furnace","status":"the connection to the server was lost"}$')
        furnace.wait_for("^ready$")
        logger.wait_for('zones/200/temperature.*"live":true')
        logger.wait_for('^{"provider":"furnace","status":"ready"}$')
        readings = self.readings(logger)
        self.assertEqual(
            {reading["path"] for reading in readings},
            {f"zones/{number}/{name}" for number in range(1, ZONES + 1)
             for name in ("temperature", "set_point")})
        self.assertEqual([reading["skipped"] for reading in readings], [0] * len(readings))
        self.assertEqual(logger.end(), 0)
        self.assertEqual(furnace.end(), 0)

    def test_log_every_change_and_the_end_of_a_provider(self):
        logger = self.start("json_logger")
        furnace = self.start("furnace")
        logger.wait_for('zones/7/temperature.*"quality":"good","live":true')
        for _ in range(5):
            logger.wait_for("zones/7/temperature")

        self.assertEqual(furnace.end(signal.SIGINT), 0)

        logger.wait_for('zones/7/temperature.*"live":false')
        logger.wait_for(
            '^{"provider":"furnace","status":"the registry does not list the provider"}$')
        values = [reading["value"] for reading in self.readings(logger)
                  if reading["path"] == "zones/7/temperature" and reading["live"]]
        self.assertEqual(values, sorted(values))  # the zone heats up
        self.assertGreater(values[-1], values[0])
        self.assertEqual(logger.end(signal.SIGINT), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("furnace")
        self.assert_usage("json_logger")
