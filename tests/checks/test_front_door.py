# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What a developer calls: the runner of the checks, and the installer of packages."""

import os
import pathlib
import shutil
import subprocess

from planted_tree import TOP, PlantedTree


class Runner(PlantedTree):
    def test_says_in_one_line_each_how_it_went_and_goes_on_after_a_failure(self):
        self.plant("a.cpp", "#include <string> // TO" "DO\n")
        code, output = self.run_check("check", "words", "layers")
        self.assertEqual(code, 1)
        self.assertRegex(
            output,
            r"^words +failed +\d+\.\d s\n    a\.cpp:1: .*\nlayers +ok +\d+\.\d s\nfailed: words\n$")

    def test_refuses_an_unknown_check(self):
        code, output = self.run_check("check", "horoscope")
        self.assertEqual(code, 1)
        self.assertIn("no such check: horoscope;", output)

    def test_runs_every_check_there_is(self):
        helpers = {"check", "manual", "tree"}
        scripts = {path.stem for path in (TOP / "tools/checks").glob("*.py")} - helpers
        _, output = self.run_check("check", "horoscope")
        self.assertEqual(set(output.split("there are ")[1].split()), scripts)


class InstallPackages(PlantedTree):
    """Runs the installer with programs of the test in place of the system's."""

    def setUp(self):
        super().setUp()
        self.copy("packaging/install-packages")
        self.plant("packaging/debian-packages.txt",
                   "# reasons\n\n# To build and run.\none  needed\n\n"
                   "# To test.\ntwo  needed as well\n")
        self.programs = self.folder / "programs"
        self.log = self.folder / "log"
        for name in ("bash", "awk", "grep", "dirname"):
            self.programs.mkdir(exist_ok=True)
            (self.programs / name).symlink_to(shutil.which(name))
        self.program("apt-get", f'echo "apt-get $*" >>{self.log}')
        self.program("sudo", f'echo sudo >>{self.log}; "$@"')
        self.program("id", "echo 0")

    def program(self, name, body):
        self.plant(f"programs/{name}", f"#!/bin/sh\n{body}\n")
        (self.programs / name).chmod(0o755)

    def install(self, *arguments):
        subprocess.run(
            [pathlib.Path("programs/bash"), "packaging/install-packages", *arguments],
            cwd=self.folder, check=True, capture_output=True, env={**os.environ, "PATH": str(self.programs)})
        return self.log.read_text(encoding="utf-8").splitlines() if self.log.exists() else []

    def test_does_nothing_when_all_are_there(self):
        self.program("dpkg-query", "echo installed one; echo installed two")
        self.assertEqual(self.install(), [])

    def test_updates_once_and_installs_what_is_missing(self):
        self.program("dpkg-query", "echo installed one; echo not-installed two; exit 1")
        self.assertEqual(self.install(), [
            "apt-get update -qq", "apt-get install -qq --no-install-recommends two"])

    def test_installs_only_what_a_build_needs(self):
        self.program("dpkg-query", "exit 1")
        self.assertEqual(self.install("debian-packages", "build")[1:], [
            "apt-get install -qq --no-install-recommends one"])

    def test_asks_for_the_rights_it_does_not_have(self):
        self.program("id", "echo 1000")
        self.program("dpkg-query", "echo installed one; exit 1")
        self.assertEqual(self.install()[:2], ["sudo", "apt-get update -qq"])

    def test_leaves_other_systems_alone(self):
        self.assertEqual(self.install(), [])
