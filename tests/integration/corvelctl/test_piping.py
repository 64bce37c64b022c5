# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""pipe: following, reading and writing for another program."""

import signal
import subprocess
import time

from tool_run import FollowingTest, PATIENCE, is_input

ODD_VARIABLES = 11


class Piping(FollowingTest):
    def setUp(self):
        super().setUp()
        self.provider = self.start_provider()

    def pipe(self, *arguments):
        return self.start("pipe", *arguments, stdin=subprocess.PIPE)

    def ask(self, process, **request):
        """Sends a request, and returns its answer and the rows before it."""
        self.tell(process, request)
        *rows, answer = self.read_json_until(process, type="answer", id=request.get("id"))
        return answer, rows

    def run_requests(self, *requests, arguments=()):
        """The answers to requests on a standard input that ends."""
        process = self.pipe(*arguments)
        self.tell(process, *requests)
        result = self.finish(process)
        self.assertEqual(result.code, 0, result.errors)
        return [one for one in result.objects() if one["type"] == "answer"], result.errors

    def test_reads(self):
        answers, _ = self.run_requests(
            {"type": "read", "id": "all", "provider": "odd"},
            {"type": "read", "id": [2], "provider": "odd", "paths": "numbers/*"},
            {"type": "read", "provider": "odd", "paths": ["texts/plain", "flags/on"]})
        self.assertEqual([(one["id"], one["exit_code"], len(one["values"])) for one in answers],
                         [("all", 0, ODD_VARIABLES), ([2], 0, 3), (None, 0, 2)])
        plain, flag = answers[2]["values"]
        self.assertEqual((plain["value"], plain["freshness"], flag["value"]), ("\u00e4", "live", True))
        shown, = self.expect(0, "read", "odd", "flags/on", "-j").objects()
        self.assertEqual(flag["id"], shown["id"])

    def test_says_what_is_wrong_with_a_request(self):
        cases = (
            ({"type": "read", "provider": "other"}, 3, 'no provider "other"'),
            ({"type": "read", "provider": "odd", "paths": "flags/of"}, 3, 'did you mean "flags/on"'),
            ({"type": "read"}, 2, "a key is missing or of a wrong type"),
            ({"type": "read", "provider": "odd", "paths": 7}, 2, "a key is missing"),
            ({"type": "reed"}, 2, 'no type "reed"'),
            ({}, 2, 'no type ""'),
            ({"type": "write", "provider": "odd", "path": "nowhere", "value": 1}, 3, "has no path"),
            ({"type": "write", "provider": "odd", "path": "numbers/infinity", "value": 1}, 7,
             "read-only"),
            ({"type": "write", "provider": "odd", "path": "flags/on", "value": 1.5}, 7, "is no bool"),
            ({"type": "write", "provider": "odd", "path": "flags/on"}, 2, "a key is missing"))
        requests = [{**request, "id": number} for number, (request, _, _) in enumerate(cases)]
        answers, errors = self.run_requests("no json", *requests, arguments=["--write"])
        self.assertIn("standard input, line 1: this is no JSON object", errors)
        self.assertEqual(len(answers), len(cases))
        for answer in answers:
            request, code, text = cases[answer["id"]]
            self.assertEqual(answer["exit_code"], code, request)
            self.assertIn(text, answer["text"])
            self.assertEqual(is_input("pipe_request", request), code != 2, request)

    def test_writes_only_if_it_may(self):
        request = {"type": "write", "id": 1, "provider": "odd", "path": "flags/on", "value": False}
        before = len(self.hub.scopes())
        answers, _ = self.run_requests(request)
        self.assertEqual((answers[0]["exit_code"], answers[0]["cure"]),
                         (7, "start it with the flag: corvelctl pipe --write"))
        self.assertEqual(set(self.hub.scopes()[before:]), {"hub.variables.readonly"})
        answers, _ = self.run_requests(request, arguments=["--write"])
        self.assertEqual((answers[0]["exit_code"], answers[0]["outcome"]), (0, "confirmed"))
        self.assertIn("hub.variables.readwrite", self.hub.scopes()[before:])
        self.assertEqual(self.expect(0, "read", "odd", "flags/on", "--raw").output, "false\n")

    def test_warns_of_what_a_duration_loses(self):
        _, errors = self.run_requests(
            {"type": "write", "id": 1, "provider": "odd", "path": "times/span", "value": "1500ns"},
            arguments=["--write"])
        self.assertIn("times/span: 1500ns is finer than 1 microsecond", errors)

    def test_reports_what_becomes_of_writes_in_their_order(self):
        cases = (("numbers/large", 5, "confirmed", 0), ("answers/refuses", 7, "refused", 9),
                 ("answers/limits", 50, "confirmed", 0), ("answers/never", 3, "not_confirmed", 9),
                 ("numbers/large", 6, "confirmed", 0))
        answers, _ = self.run_requests(
            *({"type": "write", "id": number, "provider": "odd", "path": path, "value": value}
              for number, (path, value, _, _) in enumerate(cases)),
            arguments=["--write", "--within", "1s"])
        self.assertEqual([(one["id"], one["outcome"], one["exit_code"]) for one in answers],
                         [(number, outcome, code)
                          for number, (_, _, outcome, code) in enumerate(cases)])

    def test_follows_and_answers_meanwhile(self):
        process = self.pipe("--write")
        answer, _ = self.ask(process, type="follow", id=1, provider="odd", paths="texts/plain")
        self.assertEqual(answer["exit_code"], 0)
        shown = self.read_json_until(process, type="value")[-1]
        self.assertEqual((shown["path"], shown["value"]), ("texts/plain", "\u00e4"))
        # A variable that is not followed has no rows, but can be read and written.
        answer, rows = self.ask(process, type="read", id=2, provider="odd", paths="numbers/large")
        self.assertEqual(len(answer["values"]), 1)
        self.ask(process, type="write", id=3, provider="odd", path="numbers/large", value=3)
        self.tell(process, {"type": "write", "id": 4, "provider": "odd", "path": "texts/plain",
                            "value": "new"})
        rows += self.read_json_until(process, type="value", value="new")
        self.assertEqual({one["path"] for one in rows if one["type"] == "value"}, {"texts/plain"})
        self.assertEqual(self.finish(process).code, 0)

    def test_survives_the_loss_of_provider_and_hub(self):
        process = self.pipe()
        self.ask(process, type="follow", id=1, provider="odd", paths="texts/plain")
        self.read_json_until(process, type="provider_event", event="here")
        self.kill(self.provider)
        self.read_json_until(process, type="provider_event", event="lost")
        self.start_provider()
        self.read_json_until(process, type="provider_event", event="back")
        self.hub.fault("server-restart")
        self.read_json_until(process, type="value", freshness="stale")
        # What is asked meanwhile gets an answer, too: it is read again, or not listed yet.
        for number in range(100):
            answer, _ = self.ask(
                process, type="read", id=number, provider="odd", paths="texts/plain")
            if answer["exit_code"] == 0:
                break
            self.assertIn(answer["exit_code"], (3, 5, 6))
            time.sleep(0.1)
        self.assertEqual(answer["values"][0]["freshness"], "live")

    def test_ends_with_its_input_a_time_or_its_reader(self):
        self.assertEqual(self.run_requests(), ([], ""))
        result = self.expect(0, "pipe", "--for", "300ms")
        self.assertEqual(result.output, "")
        process = self.pipe()
        self.ask(process, type="follow", id=1, provider="odd")
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), 130)
        process = self.pipe()
        self.ask(process, type="follow", id=1, provider="odd")
        process.stdout.close()
        process.stdout = None
        self.assertEqual(process.wait(PATIENCE), 0)

    def test_needs_a_hub_unless_it_shall_wait_for_one(self):
        self.environment["CORVEL_HUB"] = "nats://127.0.0.1:1"
        self.expect(5, "pipe")
        process = self.pipe("--wait", "--timeout", "500ms")
        self.tell(process, {"type": "read", "id": 1, "provider": "odd"})
        result = self.finish(process)
        self.assertEqual(result.code, 0)
        self.assertIn(result.objects()[0]["exit_code"], (5, 6))
