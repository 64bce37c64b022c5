# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""provide: a provider that is simulated, or fed by the program that runs it."""

import json
import subprocess

from tool_run import FollowingTest, Hub, ToolTest, is_input

KILN = {"provider": "kiln", "variables": [
    {"path": "temperature", "data_type": "double", "value": 650},
    {"path": "batch", "data_type": "int64", "value": 12},
    {"path": "note", "data_type": "string", "value": "first"},
    {"path": "set_point", "data_type": "double", "access": "read-write", "value": 700}]}


class Providing(FollowingTest):
    def setUp(self):
        super().setUp()
        self.file = self.write_file("kiln.json", json.dumps(KILN))
        self.wait_for_names()

    def wait_for_names(self):
        """Waits until the registry has noticed the end of earlier providers."""
        self.wait_for(lambda: self.expect(0, "providers").output == "", "an empty hub")

    def provide(self, *arguments, file=None):
        """Starts one with rows in JSON, and returns it when it is registered."""
        process = self.start("provide", file or self.file, "-j", *arguments, stdin=subprocess.PIPE)
        self.wait_for_state(process, "ready")
        return process

    def wait_for_state(self, process, state):
        self.read_json_until(process, type="provider_state", state=state)

    def read_value(self, path, provider="kiln"):
        shown, = self.expect(0, "read", provider, path, "-j").objects()
        return shown

    def wait_for_value(self, path, value):
        self.expect(0, "wait", "kiln", path, "==", value, "--timeout", "30s")

    def test_offers_the_variables_and_values_of_the_file(self):
        process = self.provide()
        self.expect(0, "def", "diff", self.file, "kiln")
        self.assertEqual([(one["value"], one["quality"]) for one in
                          self.expect(0, "read", "kiln", "-j").objects()],
                         [(12, "good"), ("first", "good"), (700, "good"), (650, "good")])
        self.assertEqual(self.interrupt(process).code, 130)

    def test_ends_after_a_time(self):
        result = self.expect(0, "provide", self.file, "--for", "1ms")
        self.assertEqual(result.output, "")
        self.assertIn("provider kiln is registered", result.errors)

    def test_takes_its_name_from_the_flag_the_file_or_the_file_name(self):
        plain = self.write_file("oven.json", json.dumps({"variables": KILN["variables"]}))
        for name, arguments in (("kiln", [self.file]), ("oven", [plain]),
                                ("other", [self.file, "--name", "other"])):
            result = self.expect(0, "provide", *arguments, "--for", "1ms", "-j")
            self.assertEqual(result.objects()[0]["provider"], name)
            self.wait_for_names()
        process = self.start("provide", "-", stdin=subprocess.PIPE)
        self.tell(process, {"variables": KILN["variables"]})
        result = self.finish(process)
        self.assertEqual(result.code, 2)
        self.assertIn("names no provider", result.errors)

    def test_copies_a_provider(self):
        self.provide()
        saved = self.write_file(
            "saved.jsonl", self.expect(0, "read", "kiln", "-j").output)
        self.provide("--name", "copy", file=saved)
        self.assertEqual(self.read_value("temperature", "copy")["value"], 650)
        self.expect(0, "def", "diff", "kiln", "copy")

    def test_refuses_a_name_that_is_taken_unless_it_is_asked_for(self):
        first = self.provide()
        result = self.expect(7, "provide", self.file)
        self.assertIn('the hub has a provider "kiln" already', result.errors)
        self.assertIn("--name kiln", result.errors)
        self.interrupt(first)
        self.wait_for_names()
        self.expect(0, "provide", self.file, "--for", "1ms")

    def test_moves_the_read_only_values(self):
        self.provide("--wave", "sine", "--rate", "50/s")
        watched = self.expect(0, "watch", "kiln", "-j", "--count", "60").objects()
        values = {}
        for one in watched:
            if one["type"] == "value":
                values.setdefault(one["path"], set()).add(one["value"])
        self.assertGreater(len(values["temperature"]), 5)
        self.assertTrue(all(585 <= one <= 715 for one in values["temperature"]))
        self.assertEqual(values["note"], {"first"})
        self.assertEqual(values["set_point"], {700})

    def test_refuses_writes_unless_it_is_told_to_accept_them(self):
        process = self.provide()
        self.expect(9, "write", "kiln", "set_point=710")
        asked, = self.read_json_until(process, type="write_request")
        self.assertEqual((asked["value"], asked["outcome"]), (710, "refused"))
        self.interrupt(process)
        process = self.provide("--accept-writes", "--name", "kiln")
        self.expect(0, "write", "kiln", "set_point=710")
        asked, = self.read_json_until(process, type="write_request")
        self.assertEqual((asked["value"], asked["outcome"]), (710, "accepted"))
        self.assertEqual(self.read_value("set_point")["value"], 710)

    def test_sets_what_comes_on_standard_input(self):
        process = self.provide("--stdin")
        self.tell(process, {"path": "temperature", "value": 651.5, "quality": "uncertain",
                            "time": "2026-01-02T03:04:05Z"}, {"path": "note", "value": "set"})
        self.wait_for_value("note", "set")
        shown = self.read_value("temperature")
        self.assertEqual((shown["quality"], shown["time"]),
                         ("uncertain", "2026-01-02T03:04:05.000000000Z"))
        self.tell(process, [{"path": "batch", "value": 13}, {"path": "note", "value": "second"}])
        self.wait_for_value("note", "second")
        together = self.read_value("batch"), self.read_value("note")
        self.assertEqual(together[0]["time"], together[1]["time"])
        self.tell(process, {"path": "batch", "quality": "bad"}, {"path": "note", "value": "third"})
        self.wait_for_value("note", "third")
        shown = self.read_value("batch")
        self.assertEqual((shown["value"], shown["quality"]), (13, "bad"))
        self.assertEqual(self.finish(process).code, 0)

    def test_publishes_the_last_values_before_it_ends(self):
        for round in range(5):
            process = self.provide("--stdin")
            watch = self.start("watch", "kiln", "-j")
            self.read_json_until(watch, type="provider_event", event="here")
            self.tell(process, {"path": "batch", "value": 100 + round}, {"path": "note", "value": "last"})
            self.assertEqual(self.finish(process).code, 0)
            rows = self.read_json_until(watch, path="note", value="last")
            self.assertIn(100 + round, [one["value"] for one in rows if one.get("path") == "batch"])
            self.interrupt(watch)
            self.wait_for_names()

    def test_says_that_the_last_values_are_not_sent_without_the_hub(self):
        process = self.provide("--stdin")
        self.hub.fault("nats-down", "1s")
        self.wait_for_state(process, "degraded")
        self.tell(process, {"path": "note", "value": "last"})
        self.assertIn("its latest values are not sent", self.finish(process).errors)
        self.wait_for(lambda: self.run_tool("providers").code == 0, "the hub's return")

    def test_goes_on_after_lines_that_it_cannot_use(self):
        process = self.provide("--stdin")
        lines = ["no json", {"path": "temperatures", "value": 1}, {"path": "batch"}, "",
                 {"value": 1}, {"path": "batch", "value": "many"}, "7", {"type": "values"},
                 {"type": "answer", "id": 5, "accept": True}, {"type": "answer"},
                 {"type": "provider_event", "event": "lost"},
                 [{"path": "note", "value": "half"}, {"path": "batch", "value": 1.5}],
                 {"path": "batch", "value": 14, "quality": "good", "time": "2026-01-02T03:04:05Z"}]
        self.assertEqual([number for number, line in enumerate(lines, 1)
                          if not is_input("provide_input", line)], [1, 3, 4, 5, 7, 8, 10])
        self.tell(process, *lines)
        self.wait_for_value("batch", 14)
        self.assertEqual(self.read_value("note")["value"], "first")
        errors = self.finish(process).errors
        warnings = [json.loads(line)["text"] for line in errors.splitlines()]
        beginnings = [
            "line 1: this is no JSON",
            'line 2: provider "kiln" has no path "temperatures"; did you mean "temperature"?',
            'line 3: there is neither "value" nor "quality"',
            "line 5: a key is missing or of a wrong type",
            'line 6: "many" is no int64',
            "line 7: this is neither an object nor an array of objects",
            'line 8: no type "values"',
            "line 9: no write request 5 waits for an answer",
            "line 10: a key is missing or of a wrong type",
            "line 12: 1.5 is no int64"]
        self.assertEqual(len(warnings), len(beginnings), warnings)
        for warning, beginning in zip(warnings, beginnings):
            self.assertTrue(warning.startswith("standard input, " + beginning), warning)

    def test_warns_of_what_durations_lose(self):
        file = self.write_file("oven.json", json.dumps({"provider": "oven", "variables": [
            {"path": "span", "data_type": "duration", "value": "1500ns"}]}))
        process = self.provide("--stdin", file=file)
        self.tell(process, {"path": "span", "value": "2500ns"})
        texts = [json.loads(line)["text"] for line in self.finish(process).errors.splitlines()]
        self.assertEqual(texts, [
            f"{file}: variable 1: 1500ns is finer than 1 microsecond; durations arrive in whole "
            "microseconds, as 1us",
            "span: 2500ns is finer than 1 microsecond; durations arrive in whole microseconds, as 2us"])
        self.assertIn("variable 1: 1500ns is finer", self.expect(0, "def", "check", file).errors)

    def test_lets_the_program_answer_write_requests(self):
        process = self.provide("--stdin")
        answers = (({"accept": True}, 0, 710), ({"accept": False, "reason": "too hot"}, 9, 710),
                   ({"accept": True, "value": 705}, 9, 705))
        for number, (answer, code, held) in enumerate(answers, 1):
            writing = self.start("write", "kiln", f"set_point={700 + 10 * number}")
            asked, = self.read_json_until(process, type="write_request")
            self.assertEqual((asked["id"], asked["path"], asked["value"], asked["outcome"]),
                             (number, "set_point", 700 + 10 * number, "waiting"))
            self.tell(process, {"type": "answer", "id": asked["id"], **answer})
            self.assertEqual(self.finish(writing).code, code)
            self.assertEqual(self.read_value("set_point")["value"], held)

    def test_writes_json_for_the_program_also_without_the_flag(self):
        process = self.start("provide", self.file, "--stdin", stdin=subprocess.PIPE)
        self.wait_for_state(process, "ready")
        self.assertEqual(self.finish(process).code, 0)

    def test_survives_a_restart_of_the_hub_and_no_tokens(self):
        process = self.provide("--stdin")
        self.hub.fault("token-refuse", "3s")
        self.hub.fault("server-restart")
        self.wait_for_state(process, "degraded")
        self.tell(process, {"path": "batch", "value": 99})
        self.wait_for_state(process, "ready")
        self.assertEqual(self.read_value("batch")["value"], 99)
        self.assertEqual(self.read_value("temperature")["value"], 650)

    def test_asks_for_more_than_reading_only_as_a_provider(self):
        before = len(self.hub.scopes())
        self.provide()
        scopes = self.hub.scopes()[before:]
        self.assertEqual(scopes, ["hub.variables.readonly", "hub.variables.provide"])

    def test_refuses_what_makes_no_sense(self):
        self.expect(2, "provide", self.file, "--rate", "5/s")
        self.expect(2, "provide", self.file, "--wave", "square")
        self.expect(2, "provide", "-", "--stdin")
        self.expect(2, "provide", self.folder / "nowhere.json")
        bad = self.write_file("bad.json", '{"variables":[{"path":"a b","data_type":"bool"}]}')
        self.expect(7, "provide", bad)


class Registration(ToolTest):
    """The first registration on hubs that are not as they should be."""

    def setUp(self):
        super().setUp()
        self.file = self.write_file("kiln.json", json.dumps(KILN))

    def begin_hub(self, *arguments):
        hub = Hub(*arguments)
        self.addCleanup(hub.stop)
        self.use_hub(hub)
        return hub

    def test_ends_with_11_when_the_registry_rejects_the_definition(self):
        self.begin_hub().fault("registry-reject", "10m")
        self.assertIn('the registry rejects the definition of provider "kiln"',
                      self.expect(11, "provide", self.file).errors)

    def test_ends_with_11_when_the_registry_does_not_answer(self):
        self.begin_hub().fault("registry-silent", "10m")
        self.assertIn("no verdict can be expected: the registry does not answer",
                      self.expect(11, "provide", self.file, "--timeout", "1s").errors)

    def test_ends_with_11_when_there_is_no_verdict(self):
        self.begin_hub("--verdict-delay", "60000")
        self.assertIn('provider "kiln" is not registered after 2s: the registry gave no verdict',
                      self.expect(11, "provide", self.file, "--timeout", "2s").errors)

    def test_waits_for_the_hub_only_if_it_shall(self):
        hub = self.begin_hub()
        hub.fault("nats-down", "10m")
        self.assertIn("no server at", self.expect(5, "provide", self.file).errors)
        process = self.start("provide", self.file, "--wait")
        self.assertIn("provider kiln: ", process.stderr.readline())
        self.assertEqual(self.interrupt(process).code, 130)
