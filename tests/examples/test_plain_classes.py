# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The examples of the plain classes: the smallest ones, commands, qualities, and those that never
give up."""

import signal
import subprocess

from example_run import ExampleTest, program


class Minimal(ExampleTest):
    def test_show_a_variable_and_its_changes(self):
        provider = self.start("provider_minimal")
        provider.wait_for("^providing; Ctrl-C ends it$")
        consumer = self.start("consumer_minimal", "minimal")
        consumer.wait_for("^providers on the hub:$")
        consumer.wait_for("^  minimal$")
        consumer.wait_for(r"uptime_seconds .* ro .*> int64 +\d+ ")
        consumer.wait_for("^changes, until Ctrl-C:$")
        first = int(consumer.wait_for(r"uptime_seconds .*> int64 +(\d+) ")[1])
        second = int(consumer.wait_for(r"uptime_seconds .*> int64 +(\d+) ")[1])
        self.assertEqual(second, first + 1)
        self.assertEqual(consumer.end(signal.SIGINT), 0)
        self.assertEqual(provider.end(signal.SIGINT), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("provider_minimal")
        self.assert_usage("consumer_minimal", " <provider>")


class WriteCommands(ExampleTest):
    def write(self, path, value):
        return subprocess.run(
            [program("write_value", "write_commands"), *self.access, "valve", path, value],
            capture_output=True, text=True, check=False)

    def test_accept_what_is_in_range_and_send_the_present_value_when_they_refuse(self):
        valve = self.start("take_commands", folder="write_commands")
        valve.wait_for("^taking commands; Ctrl-C ends it$")

        accepted = self.write("opening_percent", "40")
        refused = self.write("opening_percent", "400")

        self.assertEqual(accepted.returncode, 0)
        self.assertRegex(accepted.stdout, r"\nnow: .*> double +40 ")
        valve.wait_for("^the opening is now 40$")
        self.assertEqual(refused.returncode, 0)
        self.assertRegex(refused.stdout, r"\nwritten: .*> double +400 ")
        self.assertRegex(refused.stdout, r"\nnow: .*> double +40 ")
        valve.wait_for("^refused: 400 is not between 0 and 100$")
        self.assertEqual(valve.end(), 0)

    def test_do_not_send_what_cannot_succeed(self):
        self.start("take_commands", folder="write_commands").wait_for("^taking commands")
        for path, value, reason in [
                ("serial_number", "V-1", "this variable is read-only"),
                ("opening_percent", "wide", "'wide' is not of the variable's type"),
                ("closing_percent", "1", "the provider has no variable 'closing_percent'")]:
            done = self.write(path, value)
            self.assertEqual(done.returncode, 1)
            self.assertIn(reason, done.stderr)

    def test_explain_their_arguments(self):
        self.assert_usage("take_commands", folder="write_commands")
        self.assert_usage("write_value", " <provider> <path> <value>", folder="write_commands")


class QualityAndStaleList(ExampleTest):
    def test_send_qualities_and_refuse_values_for_a_list_that_was_replaced(self):
        sensor = self.start("quality_and_stale_list")
        sensor.wait_for("^ready$")
        consumer = self.start("consumer_minimal", "sensor")
        consumer.wait_for(r"celsius .*< +unc initial val > double +0 ")
        consumer.wait_for("^changes, until Ctrl-C:$")

        for typed, quality, value in [("21.5", "good", "21.5"), ("broken", "bad", "21.5"),
                                      ("22", "good", "22")]:
            sensor.type(typed)
            consumer.wait_for(rf"celsius .*< +{quality} +> ?double +{value} ")
        sensor.type("exchange")
        sensor.wait_for("^the earlier list is stale, and refuses new values$")
        sensor.type("23")
        consumer.wait_for(r"celsius .*< +good +> double +23 ")

        self.assertEqual(sensor.end_input(), 0)
        self.assertEqual(consumer.end(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("quality_and_stale_list")


class Reconnect(ExampleTest):
    def test_return_after_a_restart_of_the_server_and_of_the_provider(self):
        provider = self.start("lasting_provider", folder="reconnect")
        provider.wait_for("^providing$")
        consumer = self.start("lasting_consumer", "lasting", folder="reconnect")
        self.count_of(consumer)

        self.restart_server()

        provider.wait_for("has reconnected to NATS server!$")
        before = self.count_of(consumer)
        while self.count_of(consumer) <= before:
            pass  # until the consumer is back, too
        self.assertEqual(provider.end(), 0)
        again = self.start("lasting_provider", folder="reconnect")
        again.wait_for("^providing$")
        while self.count_of(consumer) > before:
            pass  # until it shows the new provider, which counts from 1
        self.assertEqual(consumer.end(), 0)
        self.assertEqual(again.end(), 0)

    def test_replace_a_faulted_connection_alone(self):
        provider = self.start("lasting_provider", folder="reconnect")
        provider.wait_for("^providing$")
        consumer = self.start(
            "lasting_consumer", "lasting", folder="reconnect", stderr=subprocess.STDOUT)
        consumer.wait_for("^attached to lasting$")
        self.count_of(consumer)

        self.fault("registry-silent", "6s")  # a request fails after 5 s, which is final

        consumer.wait_for("^attached to lasting$")
        self.count_of(consumer)
        self.assertNotIn("trying again", consumer.lines)  # with a new consumer

    def count_of(self, consumer):
        return int(consumer.wait_for(r"count .*> int64 +(\d+) ")[1])

    def test_explain_their_arguments(self):
        self.assert_usage("lasting_provider", folder="reconnect")
        self.assert_usage("lasting_consumer", " <provider>...", folder="reconnect")
