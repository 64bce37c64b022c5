# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What the tests of the examples share: a development hub, and programs whose output they read."""

import json
import os
import pathlib
import re
import signal
import subprocess
import threading
import unittest

BUILD = pathlib.Path(os.environ["CORVEL_HUB_BUILD"])
HUB = BUILD / "tools/dev_hub/corvel-dev-hub"
LIMIT = 60  # seconds, for everything; nothing takes so long that is not broken


def program(name, folder=None):
    return BUILD / "examples" / (folder or name) / name


class Program:
    """A running program, which ends with the test."""

    def __init__(self, test, *command, **options):
        self._test = test
        self._read = 0  # how many lines earlier waits have used
        self._changed = threading.Condition()
        self.lines = []
        # If the test is killed, the kernel ends the program.
        self._process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "--", *command], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, text=True, **options)
        self._reader = threading.Thread(target=self._read_output, daemon=True)
        self._reader.start()
        test.addCleanup(self._clean_up)

    def type(self, line):
        self._process.stdin.write(f"{line}\n")
        self._process.stdin.flush()

    def end_input(self):
        self._process.stdin.close()
        return self._process.wait(LIMIT)

    def end(self, signal_number=signal.SIGTERM):
        self._process.send_signal(signal_number)
        return self._process.wait(LIMIT)

    def wait_for(self, pattern):
        """Returns the match in the first line that has one, after those of the last wait."""
        with self._changed:
            found = []
            if not self._changed.wait_for(lambda: found.extend(self._find(pattern)) or found, LIMIT):
                self._test.fail(f"not seen: {pattern}; the last lines: {self.lines[-5:]}")
            return found[0]

    def wait_for_anywhere(self, pattern, first=0):
        """The same among all lines from number `first` on, for those that come in any order."""
        self._read = first
        return self.wait_for(pattern)

    def _find(self, pattern):
        for number in range(self._read, len(self.lines)):
            self._read = number + 1
            if match := re.search(pattern, self.lines[number]):
                return [match]
        return []

    def _read_output(self):
        for line in self._process.stdout:
            with self._changed:
                self.lines.append(line.rstrip("\n"))
                self._changed.notify_all()

    def _clean_up(self):
        self._process.kill()
        self._process.wait()
        self._reader.join()
        self._process.stdin.close()
        self._process.stdout.close()


class ExampleTest(unittest.TestCase):
    def setUp(self):
        self.hub = Program(self, HUB)
        ready = json.loads(self.hub.wait_for(r"^\{.*\}$")[0])
        self.access = [
            ready[key] for key in ("nats_url", "token_url", "client_id", "client_secret")]

    def start(self, name, *more, folder=None, **options):
        return Program(self, program(name, folder), *self.access, *more, **options)

    def restart_server(self):
        self.fault("server-restart")

    def fault(self, *words):
        subprocess.run(
            [HUB, "fault", *words, "--nats-port", self.access[0].rsplit(":", 1)[1]],
            check=True, capture_output=True)

    def assert_usage(self, name, more="", folder=None):
        done = subprocess.run(
            [program(name, folder), "too few"], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertEqual(
            done.stderr.splitlines()[0],
            f"usage: {name} <nats-url> <token-url> <client-id> <client-secret>{more}")
