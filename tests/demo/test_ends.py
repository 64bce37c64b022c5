# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The demo takes everything with it, however it is ended."""

import signal

from demo_run import DemoTest, SHORT_LIMIT


class Ends(DemoTest):
    def end_by(self, signal_number):
        demo = self.start()
        self.read_until(demo, "change events")
        demo.send_signal(signal_number)
        demo.communicate(timeout=SHORT_LIMIT)
        self.assert_nothing_is_left()
        return demo.returncode

    def test_when_interrupted(self):
        self.assertEqual(self.end_by(signal.SIGINT), 130)

    def test_when_told_to_end(self):
        self.assertEqual(self.end_by(signal.SIGTERM), 130)

    def test_when_killed(self):
        self.assertEqual(self.end_by(signal.SIGKILL), -signal.SIGKILL)
