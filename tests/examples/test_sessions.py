# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The smallest sessions: one provides what is typed, the other one shows and writes it."""

from example_run import ExampleTest


class Sessions(ExampleTest):
    def test_exchange_values_and_writes_through_a_restart_of_the_server(self):
        oven = self.start("provider_session")
        oven.wait_for("^ready$")
        oven.type(21.5)
        oven.wait_for("^heating: on$")
        watcher = self.start("consumer_session")
        watcher.wait_for("^21.5$")

        watcher.type(20)
        watcher.type(999)

        watcher.wait_for("^confirmed$")
        watcher.wait_for("^not confirmed$")
        oven.type(22)
        oven.wait_for("^heating: off$")
        watcher.wait_for("^22$")
        self.restart_server()
        watcher.wait_for(r"^22 \(do not use\)$")
        oven.type(23)
        oven.wait_for("^ready$")
        watcher.wait_for("^23$")
        self.assertEqual(oven.end_input(), 0)
        watcher.wait_for(r"^23 \(do not use\)$")
        watcher.type(50)
        watcher.wait_for("oven")
        self.assertEqual(watcher.end_input(), 0)

    def test_explain_their_arguments(self):
        self.assert_usage("provider_session")
        self.assert_usage("consumer_session")
