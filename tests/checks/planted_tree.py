# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""A small tree of its own for one test, in which a check runs as it does at home."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
CHECKS = TOP / "tools" / "checks"


class PlantedTree(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        self.command("git", "init", "--quiet")

    def plant(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def copy(self, name):
        self.plant(name, (TOP / name).read_text(encoding="utf-8"))

    def command(self, *words):
        return subprocess.run(words, cwd=self.folder, check=True, capture_output=True, text=True)

    def run_check(self, name, *arguments):
        done = subprocess.run(
            [sys.executable, "-B", CHECKS / f"{name}.py", *arguments],
            cwd=self.folder, check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
            text=True)
        return done.returncode, done.stdout

    def assert_clean(self, check, *arguments):
        self.assertEqual(self.run_check(check, *arguments), (0, ""))

    def assert_found(self, check, *findings):
        """The check fails and prints these lines, and no others."""
        self.assertEqual(self.run_check(check), (1, "".join(f"{line}\n" for line in findings)))

    def assert_fault(self, check, pattern):
        """The check fails and prints, with whatever its compiler adds, something like this."""
        code, output = self.run_check(check)
        self.assertEqual(code, 1, output)
        self.assertRegex(output, pattern)
