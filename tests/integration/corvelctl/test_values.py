# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Browsing, reading, writing and waiting on a hub with one provider."""

import base64
import json
import os
import pty
import signal
import time

from tool_run import PATIENCE, HubTest, OddProviderTest

PATHS = ["answers/limits", "answers/never", "answers/refuses", "flags/on", "numbers/infinity",
         "numbers/large", "numbers/nan", "texts/bytes", "texts/plain", "times/span", "times/when"]


class Watching(HubTest):
    def test_shows_who_comes_and_goes_also_after_an_outage(self):
        process = self.start("providers", "--watch", "-j")
        provider = self.start_provider()
        self.assertIn('"here"', self.read_until(process, "odd")[-1])
        provider.communicate()
        self.assertIn('"lost"', self.read_until(process, "odd")[-1])
        self.hub.fault("server-restart")
        self.assertIn("the hub is lost", process.stderr.readline())
        self.assertIn("the hub is back", process.stderr.readline())
        self.start_provider()
        self.assertIn('"back"', self.read_until(process, "odd")[-1])
        self.assertEqual(self.interrupt(process).code, 130)

    def test_needs_a_hub_at_the_beginning(self):
        self.expect(5, "providers", "--watch", "--hub", "nats://127.0.0.1:1")


class Browsing(OddProviderTest):
    def test_shows_the_definition(self):
        lines = self.expect(0, "browse", "odd").output.splitlines()
        self.assertEqual(lines[0].split(), ["ID", "ACCESS", "TYPE", "PATH"])
        self.assertEqual([line.split()[3] for line in lines[1:]], PATHS)
        self.assertIn(["read-write", "int64", "numbers/large"], [line.split()[1:] for line in lines])

    def test_selects_by_pattern(self):
        shown = self.expect(0, "browse", "odd", "t*/*", "-j").objects()
        self.assertEqual([one["path"] for one in shown], PATHS[7:])
        self.assertEqual(self.expect(0, "browse", "odd", "**s", "-j").objects()[0]["path"], PATHS[0])
        self.assertEqual(
            self.expect(3, "browse", "odd", "*").errors,
            'corvelctl: provider "odd" has no path that fits "*"\n'
            "  see all variables: corvelctl browse odd\n")

    def test_shows_a_tree(self):
        self.assertTrue(self.expect(0, "browse", "odd", "--tree").output.startswith(
            "answers/\n  limits  double  writable\n  never  double  writable\n"))

    def test_shows_the_fingerprint(self):
        text = self.expect(0, "browse", "odd", "--fingerprint").output
        self.assertRegex(text, "^0x[0-9a-f]{16}\n$")
        shown, = self.expect(0, "browse", "odd", "--fingerprint", "-j").objects()
        self.assertEqual((shown["fingerprint"] + "\n", shown["variables"]), (text, len(PATHS)))

    def test_asks_whether_another_provider_was_meant(self):
        self.assertEqual(
            self.expect(3, "browse", "old").errors,
            'corvelctl: no provider "old"; did you mean "odd"?\n'
            "  see all providers: corvelctl providers\n")

    def test_refuses_identifiers_that_make_no_subject(self):
        self.expect(3, "browse", "o d")
        self.expect(3, "browse", "*")


class Reading(OddProviderTest):
    def test_shows_a_table(self):
        lines = self.expect(0, "read", "odd", "times/*", "--utc").output.splitlines()
        self.assertEqual(lines[0].split(), ["PATH", "VALUE", "QUALITY", "TIME"])
        self.assertEqual(lines[1].split()[:3], ["times/span", "250ms", "good"])
        self.assertIn(" 2023-11-14 22:13:20.123456789Z  good ", lines[2])

    def test_shows_local_time(self):
        self.assertEqual(self.expect(0, "read", "odd", "times/when", "--raw").output,
                         "2023-11-14 23:13:20.123456789\n")

    def test_writes_what_json_cannot_carry_as_text(self):
        self.assertEqual(self.value("numbers/nan")["value"], "nan")
        self.assertEqual(self.value("numbers/infinity")["value"], "inf")
        self.assertEqual(self.value("numbers/large").get("value_text"), "9007199254740993")
        self.assertEqual(self.value("times/when")["value"], "2023-11-14T22:13:20.123456789Z")
        self.assertEqual(self.value("times/span")["value"], "0.25s")
        self.assertEqual(self.value("texts/plain")["value"], "\u00e4")
        self.assertEqual(
            base64.b64decode(self.value("texts/bytes")["value_base64"]), b"\xff\x1b[2J")

    def test_lets_no_text_control_the_terminal(self):
        self.assertNotIn("\x1b", self.expect(0, "read", "odd").output)

    def test_finds_a_variable_by_its_id(self):
        wanted = self.value("flags/on")
        shown, = self.expect(0, "read", "odd", f"#{wanted['id']}", "-j").objects()
        self.assertEqual(shown["path"], "flags/on")
        self.expect(3, "read", "odd", "#123456")
        self.expect(3, "read", "odd", "#x")

    def test_shows_each_variable_once(self):
        shown = self.expect(0, "read", "odd", "times/when", "times/*", "-j").objects()
        self.assertEqual([one["path"] for one in shown], ["times/when", "times/span"])

    def test_asks_whether_another_path_was_meant(self):
        self.assertEqual(
            self.expect(3, "read", "odd", "numbers/lagre").errors,
            'corvelctl: provider "odd" has no path "numbers/lagre"; did you mean "numbers/large"?\n'
            "  see all variables: corvelctl browse odd\n")

    def test_is_strict_if_wanted(self):
        self.expect(0, "read", "odd", "times/*", "--strict")
        result = self.expect(10, "read", "odd", "answers/refuses", "--strict")
        self.assertIn("answers/refuses  ", result.output)
        self.assertIn("1 value is not good: answers/refuses (uncertain_initial_value)",
                      result.errors)

    def test_shows_colours_only_if_wanted(self):
        self.assertNotIn("\x1b", self.expect(0, "read", "odd").output)
        self.assertIn("\x1b[33muncertain", self.expect(0, "read", "odd", "--color", "always").output)

    def test_colours_a_terminal_unless_that_is_refused(self):
        self.assertIn("\x1b[33muncertain", self.read_on_terminal())
        self.assertNotIn("\x1b", self.read_on_terminal("--color", "never"))
        self.environment["NO_COLOR"] = "1"
        self.assertNotIn("\x1b", self.read_on_terminal())
        self.assertIn("\x1b[33muncertain", self.read_on_terminal("--color", "always"))

    def read_on_terminal(self, *arguments):
        """What a terminal gets when the tool reads one value."""
        ours, terminal = pty.openpty()
        process = self.start("read", "odd", "answers/refuses", *arguments, stdout=terminal)
        os.close(terminal)
        self.assertEqual((process.wait(PATIENCE), process.stderr.read()), (0, ""))
        with open(ours, encoding="utf-8") as shown:
            return shown.readline() + shown.readline()


class Replaced(HubTest):
    def test_says_that_the_definition_has_changed(self):
        """The registry has the definition of the second provider, and the first one answers."""
        self.start_provider("twin")
        second = self.start_provider("twin")
        self.addCleanup(second.send_signal, signal.SIGCONT)
        second.send_signal(signal.SIGSTOP)
        self.assertEqual(
            self.expect(8, "read", "twin").errors,
            'corvelctl: the definition of provider "twin" has changed meanwhile\n'
            "  run the command again; look at it first: corvelctl browse twin\n")


class ClosedPipe(HubTest):
    """The provider is so large that its text does not fit into a pipe."""

    def test_ends_quietly_when_nobody_reads(self):
        self.start_provider("large", 5000)
        for command in (("read", "-j"), ("read",), ("browse", "-j"), ("browse",),
                        ("browse", "--tree")):
            process = self.start(command[0], "large", *command[1:])
            self.assertTrue(process.stdout.read(1))
            process.stdout.close()
            self.assertEqual(process.stderr.read(), "", command)
            self.assertEqual(process.wait(PATIENCE), 0, command)


class Writing(OddProviderTest):
    def confirm(self, path, text, value):
        shown, = self.expect(0, "write", "odd", f"{path}={text}", "-j").objects()
        self.assertEqual(shown["outcome"], "confirmed")
        self.assertEqual(self.value(path)["value"], value)

    def test_confirms_values_of_all_types(self):
        self.confirm("flags/on", "off", False)
        self.confirm("numbers/nan", "-3e4", -3e4)
        self.confirm("numbers/nan", "nan", "nan")
        self.confirm("numbers/large", "0x2A", 42)
        self.confirm("texts/plain", "a=b", "a=b")
        self.confirm("times/span", "1.5s", "1.5s")

    def test_confirms_an_unchanged_value(self):
        self.expect(0, "write", "odd", "flags/on=on")
        self.expect(0, "write", "odd", "flags/on=on")

    def test_fails_if_the_provider_takes_another_value(self):
        result = self.expect(9, "write", "odd", "answers/limits=500", "-j")
        shown, = result.objects()
        self.assertEqual(shown["now"]["value"], 100)
        self.assertIn("does not hold the written value of answers/limits (it holds 100)", result.errors)

    def test_fails_if_the_provider_refuses(self):
        shown, = self.expect(9, "write", "odd", "answers/refuses=2", "--within", "100ms",
                             "-j").objects()
        self.assertEqual(shown["now"]["value"], 1.5)

    def test_fails_if_the_provider_does_not_answer(self):
        self.expect(9, "write", "odd", "answers/never=2", "--within", "100ms")

    def test_gives_the_provider_the_wanted_time(self):
        for within, least, *limit in (("8s", 8), ("10s", 3, "--timeout", "4s")):
            began = time.monotonic()
            result = self.run_tool("write", "odd", "answers/never=2", "--within", within, *limit)
            self.assertIn(result.code, (9, 6))
            self.assertGreater(time.monotonic() - began, least)

    def test_does_not_wait_if_not_wanted(self):
        shown, = self.expect(0, "write", "odd", "answers/never=2", "--no-confirm", "-j").objects()
        self.assertEqual(shown["outcome"], "sent")

    def test_sends_nothing_in_a_dry_run(self):
        before = len(self.hub.scopes())
        shown, = self.expect(0, "write", "odd", "texts/plain=other", "--dry-run", "-j").objects()
        self.assertEqual((shown["outcome"], shown["written"]["value"]), ("not sent", "other"))
        self.assertNotEqual(self.value("texts/plain")["value"], "other")
        self.assertEqual(set(self.hub.scopes()[before:]), {"hub.variables.readonly"})

    def test_asks_for_permission_to_write(self):
        self.expect(0, "write", "odd", "flags/on=on")
        self.assertIn("hub.variables.readwrite", self.hub.scopes())

    def test_refuses_before_sending(self):
        for code, assignment, text in (
                (7, "texts/bytes=x", 'variable "texts/bytes" is read-only'),
                (7, "numbers/large=1.5", 'numbers/large: "1.5" is no int64'),
                (7, "numbers/large=9223372036854775808", "does not fit into 64 bits"),
                (7, "numbers/nan=21,5", "decimal comma"),
                (3, "numbers/lagre=1", 'did you mean "numbers/large"?'),
                (2, "flags/on", '"flags/on" is no assignment')):
            result = self.expect(code, "write", "odd", "flags/on=off", assignment)
            self.assertIn(text, result.errors)
        self.assertIn("given twice",
                      self.expect(2, "write", "odd", "flags/on=on", "flags/on=off").errors)
        self.assertIn("nothing to write", self.expect(2, "write", "odd").errors)

    def test_warns_of_what_a_duration_loses(self):
        result = self.expect(0, "write", "odd", "times/span=1500ns")
        self.assertIn("1500ns is finer than 1 microsecond; durations arrive in whole microseconds, as "
                      "1us", result.errors)

    def test_restores_what_was_read(self):
        saved = self.write_file("saved", self.expect(
            0, "read", "odd", "flags/on", "numbers/*", "texts/*", "times/*", "-j").output)
        before = [json.loads(line) for line in saved.read_text(encoding="utf-8").splitlines()]
        self.expect(0, "write", "odd", "numbers/large=7", "texts/plain=x", "times/span=3min")
        result = self.expect(0, "write", "odd", "--from", saved)
        self.assertIn("left out: 3 read-only variables", result.errors)
        for one in before:
            self.assertEqual(self.value(one["path"])["value"], one["value"])

    def test_refuses_a_file_of_something_else(self):
        other = self.write_file("other", "flags/on=1\n")
        self.assertIn(f"{other}:1: this is no line that read --json has written",
                      self.expect(2, "write", "odd", "--from", other).errors)
        for file, why in ((self.folder / "nowhere", "No such file or directory"), (self.folder, "Is a directory")):
            self.assertEqual(
                self.expect(2, "write", "odd", "--from", file).errors,
                f"corvelctl: cannot read {file}: {why}\n"
                "  give saved values; save some: corvelctl read PROVIDER -j > saved.jsonl\n")

    def test_leaves_out_other_providers(self):
        other = self.write_file("other", json.dumps(
            {"v": 1, "type": "value", "provider": "old", "path": "x", "value": 1}) + "\n")
        self.assertIn("left out: 1 value of other providers\n",
                      self.expect(2, "write", "odd", "--from", other).errors)


class Waiting(OddProviderTest):
    def test_returns_at_once_if_the_condition_holds(self):
        for operator in ("==", "eq", ">=", "le"):
            self.assertEqual(
                self.expect(0, "wait", "odd", "times/span", operator, "250ms").output,
                "times/span 250ms\n")
        shown, = self.expect(0, "wait", "odd", "numbers/infinity", "gt", "1e300", "-j").objects()
        self.assertEqual(shown["value"], "inf")

    def test_warns_of_what_no_duration_can_be(self):
        self.assertIn("1500ns is finer than 1 microsecond",
                      self.expect(0, "wait", "odd", "times/span", "gt", "1500ns").errors)

    def test_waits_for_a_change(self):
        self.expect(0, "write", "odd", "texts/plain=before")
        process = self.start("wait", "odd", "texts/plain", "==", "after", "--timeout", "60s")
        self.expect(0, "write", "odd", "texts/plain=after")
        result = self.finish(process)
        self.assertEqual((result.code, result.output), (0, "texts/plain after\n"))

    def test_ends_without_success_in_time(self):
        result = self.expect(6, "wait", "odd", "flags/on", "!=", "on", "--timeout", "3s")
        self.assertIn("flags/on != on does not hold; the value is true (good)", result.errors)

    def test_sees_the_condition_although_the_registry_was_silent(self):
        self.hub.fault("registry-silent", "4s")
        began = time.monotonic()
        self.expect(0, "wait", "odd", "texts/plain", "ne", "nothing", "--timeout", "100s")
        self.assertLess(time.monotonic() - began, PATIENCE / 2)

    def test_takes_no_doubtful_value(self):
        self.expect(6, "wait", "odd", "answers/never", "==", "1.5", "--timeout", "3s")

    def test_waits_for_a_provider_that_is_not_there(self):
        self.assertEqual(
            self.expect(6, "wait", "old", "x", "==", "1", "--timeout", "3s").errors,
            'corvelctl: timeout: no provider "old"; did you mean "odd"?\n'
            "  see all providers: corvelctl providers\n")

    def test_names_a_path_that_was_meant(self):
        self.assertIn('did you mean "flags/on"?', self.expect(
            3, "wait", "odd", "flags/no", "==", "on", "--timeout", "60s").errors)

    def test_refuses_what_cannot_be_compared(self):
        self.expect(7, "wait", "odd", "times/span", "==", "5", "--timeout", "60s")
        self.assertIn("is no comparison", self.expect(2, "wait", "odd", "x", "=>", "1").errors)

    def test_finds_no_hub(self):
        self.expect(5, "wait", "odd", "x", "==", "1", "--timeout", "2s", "--hub",
                    "nats://127.0.0.1:1")

    def test_ends_by_a_signal(self):
        before = len(self.hub.scopes())
        process = self.start("wait", "odd", "texts/plain", "==", "never written")
        self.wait_for(lambda: len(self.hub.scopes()) > before, "a connection")
        process.terminate()
        self.assertEqual(self.finish(process).code, 143)
