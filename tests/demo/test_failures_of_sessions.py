# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What the demo says when a session does not return."""

from demo_run import BUILD, DemoTest


class FailuresOfSessions(DemoTest):
    def test_a_watcher_that_shows_nothing_after_the_outage(self):
        watcher = BUILD / "examples/consumer_session/consumer_session"
        self.assert_fails(
            "consumer_session", f'"{watcher}" "$@" | sed --unbuffered "/do not use/q"\nexec sleep 90',
            r"not seen within \d+ s: the watcher shows the oven's temperature again")
