# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""check: what monitoring systems read, and its exit codes."""

import re
import signal
import stat

from tool_run import FLOOD_PROVIDER, PATIENCE, SECRET, HubTest, ToolTest, is_full

OK, WARNING, CRITICAL, UNKNOWN = range(4)


class Check(HubTest):
    def setUp(self):
        super().setUp()
        self.wait_for(lambda: self.expect(0, "providers").output == "", "a hub without providers")

    def state(self, code, *arguments):
        """The first line of the output."""
        result = self.expect(code, "check", *arguments)
        line, *_ = result.output.splitlines()
        word = ("OK", "WARNING", "CRITICAL", "UNKNOWN")[code]
        self.assertRegex(line, rf"^CORVEL {word} - [^|]+ \| time=[0-9.]+s;;;0 ")
        return line

    def test_finds_all_well(self):
        self.start_fixed_provider("fixed", 7, "a=double", "b=bool")
        self.assertIn("fixed: 2 good values", self.state(OK))
        self.assertIn("fixed: 1 good value,", self.state(OK, "fixed", "a"))
        self.assertIn(" 'a'=0 'b'=0", self.state(OK, "fixed", "*"))

    def test_finds_old_values(self):
        self.start_fixed_provider("fixed", 7, "a=double", age=60)
        self.assertRegex(self.state(CRITICAL, "fixed", "--max-age", "30s"), r"fixed a: 60\S*s old ")
        self.state(OK, "fixed", "--max-age", "1h")

    def test_finds_values_that_are_not_good(self):
        self.start_provider()
        self.assertIn("quality uncertain_initial_value", self.state(WARNING, "odd"))
        self.state(OK, "odd", "flags/on")

    def test_finds_what_is_missing(self):
        self.start_provider()
        self.assertIn('no provider "old"; did you mean "odd"', self.state(CRITICAL, "old"))
        self.assertIn('has no path "flags/no"', self.state(CRITICAL, "odd", "flags/no"))

    def test_refuses_two_formats_at_once(self):
        file = self.folder / "metrics.prom"
        shown, = self.expect(UNKNOWN, "check", "--prometheus", "-o", file, "-j").objects()
        self.assertEqual((shown["state"], shown["problems"][0]["text"]),
                         ("UNKNOWN", "--prometheus and --json exclude each other"))
        self.assertFalse(file.exists())

    def test_warns_of_a_hub_without_providers(self):
        self.assertIn("the hub has no providers", self.state(WARNING))

    def test_checks_the_other_providers_if_one_does_not_answer(self):
        self.start_fixed_provider("fixed", 7, "a=double")
        frozen = self.start_provider("frozen")
        frozen.send_signal(signal.SIGSTOP)
        self.addCleanup(frozen.send_signal, signal.SIGCONT)
        result = self.expect(CRITICAL, "check", "--timeout", "3s", "--prometheus")
        self.assertIn('\ncorvel_provider_up{provider="fixed"} 1\n', result.output)
        self.assertNotIn('\ncorvel_provider_up{provider="frozen"} 1\n', result.output)

    def test_finds_a_hub_that_cannot_be_used(self):
        self.assertIn("no server at", self.state(CRITICAL, "--hub", "nats://127.0.0.1:1"))
        wrong = self.write_file("wrong", "wrong\n")
        self.assertIn("gives no token", self.state(CRITICAL, "--secret-file", wrong))

    def test_ends_in_time_in_its_own_form(self):
        self.hub.fault("freeze", "4s")
        self.addCleanup(self.wait_for, lambda: self.run_tool("providers").code == 0, "the hub")
        self.state(CRITICAL, "--timeout", "500ms")
        self.assertIn("\ncorvel_hub_up 0\n", self.expect(
            CRITICAL, "check", "--timeout", "10ms", "--prometheus").output)

    def test_ends_in_time_although_the_reader_is_stuck(self):
        self.accepted(self.hub.start_provider("1", "1000", program=FLOOD_PROVIDER))
        process = self.start("check", "flood", "--prometheus", "--timeout", "8s")
        self.wait_for(lambda: is_full(process.stdout), "a pipe that takes no more lines")
        self.assertEqual(process.wait(PATIENCE), UNKNOWN)

    def test_is_unknown_if_its_time_is_up_and_the_reader_is_stuck(self):
        self.hub.fault("freeze", "4s")
        self.addCleanup(self.wait_for, lambda: self.run_tool("providers").code == 0, "the hub")
        process = self.start("check", "--timeout", "500ms", stdout=self.make_full_pipe())
        self.assertEqual(process.wait(PATIENCE), UNKNOWN)

    def test_writes_prometheus_metrics(self):
        self.start_provider()
        text = self.expect(WARNING, "check", "odd", "--prometheus").output
        for line in text.splitlines():
            self.assertRegex(line, r'^# (HELP|TYPE) |^corvel_\w+(\{provider="[^"]*"(,path="[^"]*")?\})?'
                                   r" (-?[0-9.]+|NaN|[+-]Inf)$")
        types = re.findall("^# TYPE (.*) gauge$", text, re.MULTILINE)
        self.assertEqual(len(types), len(set(types)))
        self.assertIn('\ncorvel_variable_value{provider="odd",path="times/span"} 0.25\n', text)

    def test_replaces_a_file_that_others_may_read(self):
        self.start_provider()
        file = self.write_file("corvel.prom", "old")
        self.assertEqual(
            self.expect(OK, "check", "odd", "flags/on", "--prometheus", "-o", file).output, "")
        self.assertIn("\ncorvel_check_state 0\n", file.read_text(encoding="utf-8"))
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o644)
        self.expect(CRITICAL, "check", "--hub", "nats://127.0.0.1:1", "--prometheus", "-o", file)
        self.assertIn("\ncorvel_hub_up 0\n", file.read_text(encoding="utf-8"))
        self.assertEqual([one.name for one in self.folder.glob("corvel*")], ["corvel.prom"])

    def test_is_unknown_if_the_file_cannot_be_written(self):
        file = self.folder / "nowhere/corvel.prom"
        result = self.expect(UNKNOWN, "check", "--prometheus", "-o", file)
        self.assertIn("cannot write", result.errors)

    def test_writes_an_object(self):
        self.start_provider()
        shown, = self.expect(CRITICAL, "check", "odd", "flags/on", "--max-age", "0", "-j").objects()
        self.assertEqual((shown["type"], shown["state"]), ("health", "CRITICAL"))
        self.assertEqual((shown["exit_code"], shown["too_old"]), (2, 1))
        self.assertEqual(shown["problems"][0]["path"], "flags/on")


class Usage(ToolTest):
    def test_is_unknown_if_used_wrongly(self):
        for arguments in ((), ("--nonsense",), ("--max-age", "old"), ("-o", "file"),
                          ("--client-secret", SECRET), ("--context", "nowhere")):
            result = self.expect(UNKNOWN, "check", *arguments)
            self.assertTrue(result.output.startswith("CORVEL UNKNOWN - "), result.output)
            self.assertEqual(result.errors, "")
