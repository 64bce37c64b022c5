# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The development hub of the tool: up, used without any setting, broken, and down again."""

import os
import re
import shlex
import signal
import socket
import stat
import subprocess

from tool_run import ODD_PROVIDER, TOOL, ToolTest, parse_objects, request_token

FREE = ("--port", "0", "--token-port", "0")


class DevHub(ToolTest):
    def up(self, *arguments):
        """Starts a hub that is ended when the test ends, also when its program is killed: a shell waits
        for the end of its input."""
        state = arguments[arguments.index("--state"):][:2] if "--state" in arguments else ()
        ending = subprocess.Popen(
            ["sh", "-c", 'read _; exec "$0" dev down "$@"', TOOL, *state], env=self.environment,
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(ending.communicate)
        return self.expect(0, "dev", "up", "--detach", *FREE, *arguments)

    def read_secret(self):
        return (self.folder / ".local/state/corvelctl/dev/secret").read_text("utf-8").strip()

    def test_runs_detached_and_is_used_without_any_setting(self):
        self.assertIn("with the provider boiler", self.up("--demo").output)
        self.assertEqual(self.expect(0, "providers").output, "boiler\n")
        self.assertEqual(len(self.expect(0, "read", "boiler", "-j").objects()), 8)
        self.expect(0, "write", "boiler", "set_point_celsius=150", "mode=standby")
        self.expect(9, "write", "boiler", "set_point_celsius=500")
        self.assertIn("has ended", self.expect(0, "dev", "down").errors)
        self.expect(3, "dev", "down")
        self.expect(2, "providers")

    def test_is_started_once(self):
        first, = self.up("-j").objects()
        second, = self.up("-j").objects()
        self.assertEqual(first, second)

    def test_shows_how_to_connect(self):
        self.expect(3, "dev", "status")
        self.up()
        shown, = self.expect(0, "dev", "status", "-j").objects()
        self.assertTrue(shown["running"])
        self.assertIn(shown["hub"], self.expect(0, "dev", "status").output)
        lines = shlex.split(self.expect(0, "dev", "status", "--print-env").output)
        self.environment.update(line.split("=", 1) for line in lines if "=" in line)
        self.environment["XDG_STATE_HOME"] = str(self.folder / "elsewhere")
        self.expect(0, "providers")

    def test_prints_what_a_shell_reads_whatever_its_folder_is_called(self):
        self.environment["XDG_STATE_HOME"] = str(self.folder / "it's; $HOME")
        words = shlex.split(self.up("--print-env").output)
        self.assertIn(f"CORVEL_SECRET_FILE={self.environment['XDG_STATE_HOME']}/corvelctl/dev/secret", words)

    def test_ignores_a_state_that_it_has_not_written(self):
        folder = self.folder / ".local/state/corvelctl/dev"
        folder.mkdir(parents=True)
        for text in ('{"hub":1}', '{"port":"x"}', "[]", "{"):
            self.write_file(folder / "hub.json", text)
            self.expect(3, "dev", "status")

    def test_keeps_its_secret_private(self):
        self.up()
        path = self.folder / ".local/state/corvelctl/dev/secret"
        self.assertEqual(stat.S_IMODE(path.stat().st_mode), 0o600)
        hub, = self.expect(0, "dev", "status", "-j").objects()
        secret = self.read_secret()
        self.secrets = {secret, request_token(hub["token_url"], secret=secret)}
        for arguments in (("dev", "status"), ("dev", "status", "-j"), ("providers", "--verbose"),
                          ("dev", "logs"), ("dev", "logs", "-j")):
            self.expect(0, *arguments)
        self.expect(0, "dev", "down")
        self.assertFalse(path.exists())

    def test_shows_its_events(self):
        self.expect(3, "dev", "logs")
        self.up()
        self.expect(0, "providers")
        self.assertIn(" token granted: developer  hub.variables.readonly\n",
                      self.expect(0, "dev", "logs").output)
        self.assertTrue(self.expect(0, "dev", "logs", "-j").objects())
        process = self.start("dev", "logs", "--follow")
        self.expect(0, "dev", "fault", "token-refuse", "10min")
        self.read_until(process, "fault begun: token-refuse")
        self.assertEqual(self.interrupt(process).code, 130)

    def test_breaks_for_a_time(self):
        self.up()
        self.assertEqual(self.expect(0, "dev", "fault", "token-refuse", "10min").output,
                         "the token endpoint refuses tokens for 10 min\n")
        self.expect(4, "providers")
        shown, = self.expect(0, "dev", "fault", "nats-down", "10min", "-j").objects()
        self.assertEqual(shown["text"], "nats-server is away for 10 min")
        self.expect(5, "providers")
        self.assertIn('no fault "half_open"; did you mean "half-open"?',
                      self.expect(2, "dev", "fault", "half_open").errors)
        self.assertIn("server-restart has no duration",
                      self.expect(2, "dev", "fault", "server-restart", "3s").errors)
        self.assertIn("--delay belongs to token-slow",
                      self.expect(2, "dev", "fault", "freeze", "--delay", "3s").errors)

    def test_rejects_definitions(self):
        self.up()
        self.expect(0, "dev", "fault", "registry-reject", "10m")
        hub, = self.expect(0, "dev", "status", "-j").objects()
        provider = subprocess.Popen(
            [ODD_PROVIDER, hub["hub"], hub["token_url"], hub["client_id"], self.read_secret()],
            stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(provider.communicate)
        self.addCleanup(provider.kill)
        self.wait_for(lambda: "definition rejected: odd" in self.expect(0, "dev", "logs").output,
                      "the rejection")
        self.assertEqual(self.expect(0, "providers").output, "")

    def test_reports_a_frozen_server_and_a_silent_registry_in_time(self):
        self.up("--demo")
        self.expect(0, "dev", "fault", "registry-silent", "10min")
        self.assertIn("the registry does not answer",
                      self.expect(6, "providers", "--timeout", "1s").errors)
        self.expect(0, "dev", "fault", "freeze", "10min")
        self.assertIn(self.run_tool("providers", "--timeout", "1s").code, (5, 6))

    def test_cuts_connections_off(self):
        self.up("--demo")
        watching = self.start("watch", "boiler", "mode", "-j")
        self.read_until(watching, '"here"')
        self.expect(0, "dev", "fault", "half-open", "10min")
        self.assertIn(self.run_tool("providers", "--timeout", "1s").code, (5, 6))
        self.read_until(watching, '"freshness":"stale"')
        self.expect(0, "dev", "fault", "half-open", "1ms")
        self.read_until(watching, '"back"')
        self.assertEqual(self.interrupt(watching).code, 130)
        self.expect(0, "providers")

    def test_ends_in_the_foreground_by_a_signal(self):
        process = self.start("dev", "up", *FREE)
        self.read_until(process, "secret file")
        self.assertEqual(self.interrupt(process).code, 0)
        self.expect(3, "dev", "status")

    def test_shows_its_events_in_the_foreground(self):
        for flags, begin in (((), ""), (("-j",), '{"v":1,"type":"event","text":"')):
            process = self.start("dev", "up", *FREE, *flags)
            self.read_until(process, "secret")
            errors = self.interrupt(process).errors
            self.assertRegex(errors, f"(?m)^{re.escape(begin)}[0-9:.]+ nats-server started: nats://")
            self.assertTrue(not flags or parse_objects(errors))

    def test_is_not_taken_for_running_after_a_crash(self):
        shown, = self.up("-j").objects()
        os.kill(shown["pid"], signal.SIGKILL)
        self.wait_for(lambda: self.run_tool("dev", "status").code == 3, "the end of the hub")

    def test_names_a_port_that_is_taken(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            result = self.expect(1, "dev", "up", "--detach", "--port", "0", "--token-port",
                                 taken.getsockname()[1])
        self.assertIn("--port 0 --token-port 0", result.errors)

    def test_runs_several_in_folders_of_their_own(self):
        self.up()
        other = self.folder / "other"
        self.up("--state", other)
        first, = self.expect(0, "dev", "status", "-j").objects()
        second, = self.expect(0, "dev", "status", "-j", "--state", other).objects()
        self.assertNotEqual(first["hub"], second["hub"])
        self.expect(0, "dev", "down", "--state", other)


class Help(ToolTest):
    def test_explains_a_text_of_the_library(self):
        line = ("Consumer me: failed to connect to the NATS server at nats://plc:4222, NATS returns: "
                "11 = Authorization Violation")
        self.assertIn("means: the server is not there (6), refuses the token (11",
                      self.expect(0, "help", line).output)
        shown = self.expect(0, "help", line, "-j").objects()[0]
        self.assertIn("look at the line about the token first", shown["cure"])

    def test_explains_a_command(self):
        self.assertIn("PATH=VALUE", self.expect(0, "help", "write").output)
        shown, = self.expect(0, "help", "write", "-j").objects()
        self.assertIn("PATH=VALUE", shown["text"])
        self.assertIn("--token-port", self.expect(0, "help", "dev", "up").output)
        self.assertIn("Exit codes:", self.expect(0, "help").output)

    def test_knows_no_other_text(self):
        self.expect(3, "help", "no such text")
