# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""watch: values and changes, through losses and returns, into pipes and on a terminal."""

import fcntl
import json
import os
import pty
import re
import resource
import select
import signal
import struct
import subprocess
import termios
import time

from tool_run import FLOOD_PROVIDER, PATIENCE, SECRET, TOOL, FollowingTest, is_full

ODD_VARIABLES = 11


class Watching(FollowingTest):
    def test_shows_values_and_then_changes(self):
        self.start_provider()
        process = self.start("watch", "odd", "-j")
        first = self.read_json_until(process, event="here")
        values = [one for one in first if one["type"] == "value"]
        self.assertEqual(len(values), ODD_VARIABLES)
        self.assertEqual({one["freshness"] for one in values}, {"live"})
        self.expect(0, "write", "odd", "flags/on=off")
        changed = self.read_json_until(process, path="flags/on", value=False)[-1]
        self.assertEqual((changed["quality"], changed["access"]), ("good", "read-write"))
        self.assertEqual(self.interrupt(process).code, 130)

    def test_shows_the_same_value_as_read(self):
        self.start_provider()
        read = {one["path"]: one for one in self.expect(0, "read", "odd", "-j").objects()}
        result = self.expect(0, "watch", "odd", "-j", "--count", ODD_VARIABLES)
        for one in result.objects():
            self.assertEqual(one.pop("freshness"), "live")
            self.assertEqual(one, read.pop(one["path"]))
        self.assertEqual(read, {})

    def test_selects_by_provider_path_and_pattern(self):
        self.start_provider()
        for words, paths in ((("odd", "flags/on"), {"flags/on"}), (("flags/on",), {"flags/on"}),
                             (("odd", "times/*"), {"times/span", "times/when"}),
                             (("**/on",), {"flags/on"})):
            shown = self.expect(0, "watch", *words, "-j", "--count", len(paths)).objects()
            self.assertEqual({one["path"] for one in shown}, paths)

    def test_names_what_was_meant(self):
        self.start_provider()
        for words, text in ((("old",), 'no provider and no path "old"; did you mean "odd"'),
                            (("old", "flags/on"), 'no provider "old"; did you mean "odd"'),
                            (("odd", "flags/no"), 'has no path "flags/no"; did you mean "flags/on"'),
                            (("odd", "nothing*"), 'has no path that fits "nothing*"')):
            self.assertIn(text, self.expect(3, "watch", *words).errors)

    def test_ends_after_a_time_or_by_a_signal(self):
        self.start_provider()
        self.expect(0, "watch", "odd", "--for", "100ms")
        process = self.start("watch", "odd")
        self.read_until(process, "flags/on")
        process.terminate()
        self.assertEqual(self.finish(process).code, 143)

    def test_reports_at_once_that_there_is_no_hub_unless_it_shall_wait(self):
        nowhere = ("--hub", "nats://127.0.0.1:1")
        self.expect(5, "watch", "odd", *nowhere)
        result = self.expect(0, "watch", "odd", "--wait", "--for", "500ms", *nowhere)
        self.assertIn("the hub is lost", result.errors)

    def test_waits_for_a_provider_if_wanted(self):
        process = self.start("watch", "odd", "--wait", "-j")
        self.start_provider()
        self.read_json_until(process, event="here")
        self.interrupt(process)

    def test_survives_a_killed_provider(self):
        provider = self.start_provider()
        process = self.start("watch", "odd", "-j")
        first = self.read_json_until(process, event="here")
        self.kill(provider)
        lost = self.read_json_until(process, event="lost")
        self.assertEqual(self.paths(lost, "stale"), self.paths(first, "live"))
        self.assertIn("does not list", lost[-1]["text"])
        self.start_provider()
        back = self.read_json_until(process, event="back")
        self.assertEqual(self.paths(back, "live"), self.paths(first, "live"))
        self.interrupt(process)

    @staticmethod
    def paths(shown, freshness):
        return {one["path"] for one in shown if one.get("freshness") == freshness}

    def test_survives_a_hub_that_is_restarted_and_refuses_tokens(self):
        self.start_provider()
        process = self.start("watch", "odd", "-j")
        self.read_json_until(process, event="here")
        self.hub.fault("token-refuse", "2s")
        self.hub.fault("server-restart")
        lost = self.read_json_until(process, event="lost")
        self.assertTrue([one for one in lost if one.get("freshness") == "stale"])
        back = self.read_json_until(process, event="back")
        self.assertTrue([one for one in back if one.get("freshness") == "live"])
        errors = self.interrupt(process).errors
        self.assertIn("the hub is lost", errors)
        self.assertIn("the hub is back", errors)

    def test_shows_a_changed_definition(self):
        provider = self.start_provider(FLOOD_PROVIDER, "1", "10")
        process = self.start("watch", "flood", "-j")
        self.read_json_until(process, event="here")
        self.kill(provider)
        provider = self.start_provider(FLOOD_PROVIDER, "1", "10")
        shown = self.read_json_until(process, event="back")
        self.assertNotIn("definition_changed", [one.get("event") for one in shown])
        self.kill(provider)
        self.start_provider(FLOOD_PROVIDER, "1", "30")
        changed = self.read_json_until(process, event="definition_changed")[-1]
        self.assertEqual(changed["text"], "30 variables, 20 new")
        self.read_json_until(process, path="numbers/29", freshness="live")
        self.interrupt(process)

    def test_fails_at_a_loss_if_wanted(self):
        provider = self.start_provider()
        process = self.start("watch", "odd", "--exit-on-loss")
        self.read_until(process, "times/when")
        self.kill(provider)
        result = self.finish(process)
        self.assertEqual(result.code, 5)
        self.assertIn("is stale", result.errors)

    def test_shows_not_more_than_the_rate(self):
        self.start_provider(FLOOD_PROVIDER, "50")
        shown = self.expect(0, "watch", "flood", "numbers/7", "-j", "--rate", "4/s", "--for",
                            "2s").objects()
        values = [one["value"] for one in shown if one["type"] == "value"]
        self.assertLessEqual(len(values), 11)
        self.assertGreaterEqual(len(values), 3)
        self.assertEqual(values, sorted(set(values)))
        for rate in ("0/s", "5/x", "-1", "x"):
            self.expect(2, "watch", "flood", "--rate", rate)

    def test_shows_no_secret(self):
        self.start_provider()
        for arguments in (("--verbose",), ("-j", "--verbose")):
            self.expect(0, "watch", *arguments, "--for", "300ms")  # which looks for it


class Pipes(FollowingTest):
    def test_ends_quietly_when_the_reader_has_gone(self):
        self.start_provider(FLOOD_PROVIDER, "50")
        for arguments in (("watch", "flood", "-j"), ("watch", "flood")):
            process = self.start(*arguments)
            for _ in range(5000):
                self.assertTrue(process.stdout.readline())
            process.stdout.close()
            self.assertEqual(process.stderr.read(), "")
            self.assertEqual(process.wait(PATIENCE), 0)

    def test_ends_quietly_although_nothing_is_written(self):
        process = self.start("watch", "odd", "--wait", "--hub", "nats://127.0.0.1:1")
        self.assertIn("the hub is lost", process.stderr.readline())
        process.stdout.close()
        self.assertEqual(process.wait(PATIENCE), 0)

    def test_ends_by_a_signal_although_the_reader_is_stuck(self):
        self.start_provider(FLOOD_PROVIDER, "50")
        process = self.start("watch", "flood", "-j")
        self.read_until(process, "numbers/999")
        self.wait_for(lambda: is_full(process.stdout), "a pipe that takes no more lines")
        process.terminate()
        self.assertEqual(process.wait(PATIENCE), 143)

    def test_writes_a_million_lines_with_flat_memory(self):
        self.start_provider(FLOOD_PROVIDER, "100")
        process = self.start("watch", "flood", "-j")
        early = count = dropped = 0
        for line in process.stdout:
            if '"type":"value"' not in line:
                dropped += json.loads(line).get("count", 0)
                continue
            count += 1
            if count == 200_000:
                early = self.memory(process)
            if count == 1_000_000:
                break
        # 100,000 changes and 64 MiB of messages may wait on a busy machine; 800,000 kept lines would
        # take more.
        self.assertLess(self.memory(process), early + 80_000)
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        self.assertEqual(" dropped, because" in result.errors, dropped > 0, result.errors)
        self.assertEqual(result.code, 130)

    def test_says_how_many_changes_were_dropped(self):
        self.start_provider(FLOOD_PROVIDER, "200")
        process = self.start("watch", "flood", "-j")
        self.read_until(process, "numbers/999")
        dropped = 0
        while dropped == 0:  # a reader that is too slow
            line = process.stdout.readline()
            if '"dropped"' in line:
                dropped = json.loads(line)["count"]
            elif '"numbers/0"' in line:
                time.sleep(0.05)
        process.send_signal(signal.SIGINT)
        self.assertRegex(self.finish(process).errors, r"\d+ changes? w(as|ere) dropped, because")

    @staticmethod
    def memory(process):
        """The resident memory in kB."""
        with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
            return int(re.search(r"VmRSS:\s+(\d+)", status.read())[1])


class Screen:
    """A pseudo terminal with the tool in it, and what was written to it."""

    def __init__(self, test, *arguments, size=(24, 80)):
        self.test = test
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            try:
                resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
                fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", *size, 0, 0))
                os.execve(TOOL, [str(TOOL), *arguments], {**test.environment, "TERM": "xterm"})
            finally:
                os._exit(99)
        self.written = ""
        self.code = None
        test.addCleanup(self.close)

    def resize(self, lines, columns):
        fcntl.ioctl(self.terminal, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))

    def lines(self):
        """What the latest complete frame shows, without colours."""
        shown = self.written.split("\x1b[H")[-2].split("\r\n\x1b[J")[0]
        return [re.sub("\x1b\\[[0-9]*[mK]", "", line).rstrip("\r") for line in shown.split("\n")]

    def read(self):
        ready, _, _ = select.select([self.terminal], [], [], 0.1)
        if ready:
            try:
                self.written += os.read(self.terminal, 65536).decode("utf-8", "replace")
            except OSError:
                return False
        return True

    def wait_for(self, condition, what):
        def holds():
            self.read()
            return self.written.count("\x1b[H") > 1 and condition(self.lines())
        self.test.wait_for(holds, what)

    def end(self, number):
        os.kill(self.pid, number)
        while self.read():
            pass
        self.test.assertNotIn(SECRET, self.written)
        _, status = os.waitpid(self.pid, 0)
        self.pid = None
        self.code = os.waitstatus_to_exitcode(status)
        return self.code

    def close(self):
        if self.pid is not None:
            os.kill(self.pid, signal.SIGKILL)
            os.waitpid(self.pid, 0)
        os.close(self.terminal)


class Table(FollowingTest):
    def test_shows_values_losses_and_returns_on_a_terminal_of_80_by_24(self):
        provider = self.start_provider(FLOOD_PROVIDER, "10")
        screen = Screen(self, "watch", "flood", "--table", "--rate", "10/s")
        screen.wait_for(lambda lines: "1000 values" in lines[0] and "▁" in lines[5], "values")
        self.assertEqual(len(screen.lines()), 24)
        self.assertTrue(all(len(line) <= 80 for line in screen.lines()), screen.lines())
        self.assertIn("more: enlarge the terminal", screen.lines()[-1])
        self.assertEqual(screen.lines()[1].split(), ["PATH", "VALUE", "QUALITY", "AGE", "TREND"])
        self.kill(provider)
        screen.wait_for(lambda lines: "1000 stale" in lines[0] and "flood lost" in lines[1], "loss")
        self.start_provider(FLOOD_PROVIDER, "10")
        screen.wait_for(lambda lines: "stale" not in lines[0] and "PATH" in lines[1], "return")
        self.hub.fault("server-restart")
        screen.wait_for(lambda lines: "hub lost" in lines[1], "loss of the hub")
        screen.wait_for(lambda lines: "PATH" in lines[1], "return of the hub")
        self.assertEqual(screen.end(signal.SIGINT), 130)

    def test_follows_the_size_of_the_terminal(self):
        self.start_provider()
        screen = Screen(self, "watch", "odd", "--table", "--rate", "20/s", size=(40, 120))
        screen.wait_for(lambda lines: len(lines) == ODD_VARIABLES + 2, "all variables")
        screen.resize(6, 40)
        screen.wait_for(lambda lines: len(lines) == 6, "a small terminal")
        self.assertTrue(all(len(line) <= 40 for line in screen.lines()), screen.lines())
        screen.resize(1, 5)
        screen.wait_for(lambda lines: len(lines) == 1 and len(lines[0]) <= 5, "a tiny terminal")
        screen.resize(24, 80)
        screen.wait_for(lambda lines: len(lines) == ODD_VARIABLES + 2, "all variables again")
        self.assertEqual(screen.end(signal.SIGTERM), 143)

    def test_restores_the_terminal_on_every_end(self):
        provider = self.start_provider()
        for end in (signal.SIGINT, signal.SIGTERM, None):
            screen = Screen(self, "watch", "odd", "--table", "--exit-on-loss")
            screen.wait_for(lambda lines: "11 values" in lines[0], "values")
            self.assertEqual(termios.tcgetattr(screen.terminal)[3] & termios.ECHO, 0)
            if end is None:
                self.kill(provider)
            screen.end(end or signal.SIGCONT)
            self.assertIn("\x1b[?25h\x1b[?1049l", screen.written[-400:])
            self.assertEqual(screen.code, {None: 5}.get(end, 128 + (end or 0)))
            self.assertNotEqual(termios.tcgetattr(screen.terminal)[3] & termios.ECHO, 0)

    def test_needs_a_terminal(self):
        self.assertIn("--table needs a terminal",
                      self.expect(2, "watch", "--table", "--for", "1s").errors)
        self.assertIn("exclude each other", self.expect(2, "watch", "--table", "-j").errors)
