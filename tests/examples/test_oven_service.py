# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The oven as a service: what systemd gives it, what it writes for the journal, and how it ends."""

import os
import pathlib
import subprocess
import tempfile

from example_run import BUILD, ExampleTest, Program

SERVICE = BUILD / "examples/oven_service/oven_service"


class OvenService(ExampleTest):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.credentials = pathlib.Path(folder.name)

    def start_with(self, secret):
        (self.credentials / "client-secret").write_text(f"{secret}\n", encoding="utf-8")
        return Program(
            self, SERVICE, *self.access[:3], stderr=subprocess.STDOUT,
            env={**os.environ, "CREDENTIALS_DIRECTORY": str(self.credentials)})

    def test_gives_each_line_a_severity_through_a_restart_and_ends_with_sigterm(self):
        oven = self.start_with(self.access[3])
        oven.wait_for("^<6>ready$")
        self.restart_server()
        oven.wait_for("^<4>Warning: Provider has lost connection")
        oven.wait_for("^<6>ready$")
        self.assertEqual(oven.end(), 0)

    def test_hides_the_secret_in_what_it_reports(self):
        oven = self.start_with("not-the-secret")
        refusal = oven.wait_for(r"^<3>.*\*\*\*")
        self.assertTrue(refusal)
        self.assertEqual(oven.end(), 0)
        self.assertNotIn("not-the-secret", "\n".join(oven.lines))

    def test_explains_what_is_missing(self):
        usage = subprocess.run([SERVICE], capture_output=True, text=True, check=False)
        self.assertEqual(usage.returncode, 2)
        self.assertEqual(usage.stderr, "usage: oven_service <nats-url> <token-url> <client-id>\n")
        missing = subprocess.run(
            [SERVICE, *self.access[:3]], capture_output=True, text=True, check=False,
            env={"CREDENTIALS_DIRECTORY": str(self.credentials)})
        self.assertEqual(missing.returncode, 1)
        self.assertEqual(missing.stderr, "<3>the credential client-secret is missing\n")
