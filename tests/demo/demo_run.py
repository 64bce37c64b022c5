# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What the tests of the demo share: a run of it, and what it leaves behind."""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import time
import unittest
import uuid

DRIVER = pathlib.Path(__file__).resolve().parents[2] / "tools/demo/run"
BUILD = pathlib.Path(os.environ["CORVEL_HUB_BUILD"])
END_LIMIT = 75  # seconds; the demo promises seventy
SHORT_LIMIT = 15


class DemoTest(unittest.TestCase):
    def setUp(self):
        # Inherited by everything that the demo starts, and by nothing else.
        self.mark = f"CORVEL_HUB_DEMO_TEST={uuid.uuid4()}"
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.addCleanup(self.kill_everything)

    def start(self, *arguments, build=BUILD, stdout=subprocess.PIPE):
        name, value = self.mark.split("=")
        process = subprocess.Popen(
            [DRIVER, "--build", build, *arguments], env={**os.environ, name: value},
            stdin=subprocess.DEVNULL, stdout=stdout, stderr=subprocess.PIPE, text=True,
            start_new_session=True)
        self.addCleanup(process.wait)
        return process

    def run_to_end(self, *arguments, **options):
        process = self.start(*arguments, **options)
        output, errors = process.communicate(timeout=END_LIMIT)
        return process.returncode, output, errors

    def read_until(self, process, text):
        output = ""
        while text not in output:
            line = process.stdout.readline()
            self.assertTrue(line, f"ended without '{text}':\n{output}")
            output += line

    def build_with(self, name, script):
        """A folder like the build's, but with a shell script as one of the examples; without it if
        there is no script."""
        (self.folder / "tools").symlink_to(BUILD / "tools")
        (self.folder / "examples").mkdir()
        for example in (BUILD / "examples").iterdir():
            if example.name != name:
                (self.folder / "examples" / example.name).symlink_to(example)
        (self.folder / "examples" / name).mkdir()
        if script is not None:
            program = self.folder / "examples" / name / name
            program.write_text(f"#!/bin/sh\n{script}\n", encoding="utf-8")
            program.chmod(0o755)
        return self.folder

    def assert_fails(self, name, script, reason):
        """The demo fails for this reason, a pattern, if the example is this script. Returns its output and errors."""
        code, output, errors = self.run_to_end(build=self.build_with(name, script))
        self.assertEqual(code, 1, output)
        self.assertRegex(errors.splitlines()[-1], f"^the demo has failed: {reason}$")
        self.assertNotIn("everything was seen", output)
        self.assert_nothing_is_left()
        return output, errors

    def processes(self):
        """What the demo has started and is still there."""
        found = {}
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                if self.mark.encode() in (folder / "environ").read_bytes().split(b"\0"):
                    found[int(folder.name)] = (folder / "cmdline").read_bytes()
            except OSError:
                continue  # ended a moment ago, or not ours
        return found

    def assert_nothing_is_left(self):
        deadline = time.monotonic() + SHORT_LIMIT
        while self.processes() and time.monotonic() < deadline:
            time.sleep(0.02)  # the kernel ends the programs of a killed demo one after the other
        self.assertEqual(self.processes(), {})

    def kill_everything(self):
        for number in self.processes():
            os.kill(number, signal.SIGKILL)
