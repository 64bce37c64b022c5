# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The demo in a terminal, and left running there."""

import fcntl
import os
import pty
import re
import signal
import struct
import termios

from demo_run import DemoTest, SHORT_LIMIT

# Drawn from the first row of the terminal, between a saved and a restored cursor.
TABLE = re.compile("\x1b7\x1b\\[H(.*?)\x1b8", re.DOTALL)
CONTROL = re.compile("\x1b\\[[0-9]*[A-Za-z]|\r")


class InATerminal(DemoTest):
    def test_keeps_a_table_on_top_and_goes_on_until_interrupted(self):
        leader, follower = pty.openpty()
        fcntl.ioctl(follower, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        demo = self.start("--keep", stdout=follower)
        os.close(follower)

        output = b""
        while b"restart the registry" not in output:
            output += os.read(leader, 4096)
        programs = b"\n".join(self.processes().values())
        demo.send_signal(signal.SIGINT)
        rest = self.read_to_the_end(leader)
        _, errors = demo.communicate(timeout=SHORT_LIMIT)

        self.assertEqual((demo.returncode, errors), (0, ""))
        tables = [CONTROL.sub("", table) for table in TABLE.findall(output.decode())]
        self.assert_some(tables, r"^boiler: connected, \d+ change events\n(.*\n)*"
                                 r"pressure_bar +\d\.\d\d +good +\d+\n")
        self.assert_some(tables, r"^boiler: lost, (.*\n)*mode +heating +bad +\d+\n$")
        self.assertTrue(rest.endswith(b"\x1b[r\x1b[999H"), rest)
        for program in (b"corvel-dev-hub", b"nats-server", b"boiler/boiler", b"boiler_monitor"):
            self.assertIn(program, programs)
        self.assert_nothing_is_left()

    def assert_some(self, tables, pattern):
        self.assertTrue(any(re.search(pattern, table) for table in tables), pattern)

    def read_to_the_end(self, leader):
        output = b""
        try:
            while True:
                output += os.read(leader, 4096)
        except OSError:  # nobody has the terminal open any more
            os.close(leader)
        return output
