# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""sniff: messages of other programs, decoded, also malformed ones."""

import json
import pathlib
import re
import socket
import threading

from tool_run import OddProviderTest, request_token

CORPUS = pathlib.Path(__file__).resolve().parents[3] / "fuzz/corpus"


class Publisher:
    """A client that speaks the protocol of the NATS server by itself, and publishes any bytes."""

    def __init__(self, hub):
        token = request_token(hub.access["token_url"], "hub.variables.provide")
        self.connection = socket.create_connection(("127.0.0.1", int(hub.port)))
        self.lines = self.connection.makefile("rb")
        self.lines.readline()
        options = json.dumps({"auth_token": token, "verbose": False})
        self.connection.sendall(f"CONNECT {options}\r\n".encode())

    def publish(self, subject, payload):
        self.connection.sendall(f"PUB {subject} {len(payload)}\r\n".encode() + payload + b"\r\n")

    def publish_many(self, subject, count):
        self.connection.sendall(f"PUB {subject} 0\r\n\r\n".encode() * count)

    def close(self):
        self.lines.close()
        self.connection.close()


class Sniff(OddProviderTest):
    def sniff(self, *arguments):
        """Starts the tool; returns it once it listens."""
        process = self.start("sniff", *arguments)
        # The registry asks every provider again and again whether it is there.
        self.read_until(process, "odd")
        return process

    def read_objects(self, process, **wanted):
        """The next object of a running tool with these keys."""
        while True:
            line = process.stdout.readline()
            self.assertTrue(line, f"ended without {wanted}")
            shown = json.loads(line)
            if all(shown.get(key) == value for key, value in wanted.items()):
                return shown

    def test_shows_what_programs_say(self):
        process = self.sniff("-j")
        self.expect(0, "write", "odd", "flags/on=off")
        written = self.read_objects(process, kind="write")
        self.assertEqual(written["content"]["items"][0]["value"], False)
        changed = self.read_objects(process, kind="change", provider="odd")
        self.assertEqual(changed["content"]["items"][0]["quality"], "good")
        self.expect(0, "read", "odd")
        self.assertEqual(len(self.read_objects(
            process, kind="read request", size=68)["content"]["ids"]), 11)
        self.assertEqual(self.interrupt(process).code, 130)

    def test_decodes_replies_and_learns_paths(self):
        process = self.sniff(">", "-j")
        self.expect(0, "read", "odd")
        self.assertEqual(self.read_objects(process, kind="list reply")["content"],
                         {"providers": ["odd"]})
        reply = self.read_objects(process, kind="definition reply")
        self.assertEqual(reply["content"]["variables"][0]["path"], "flags/on")
        items = []
        while not items:  # those of the registry have none
            items = self.read_objects(process, kind="read reply")["content"]["items"]
        self.assertEqual(items[0]["path"], "flags/on")
        self.interrupt(process)

    def test_shows_objects_by_the_schema(self):
        shown = self.expect(0, "sniff", ">", "--count", "4", "--hex", "-j").objects()
        self.assertEqual([one["type"] for one in shown], ["message"] * 4)
        self.assertEqual(len(shown[0]["hex"]), 2 * shown[0]["size"])

    def test_asks_for_the_scope_that_only_reads(self):
        before = len(self.hub.scopes())
        self.expect(0, "sniff", "--count", "1")
        self.assertEqual(self.hub.scopes()[before:], ["hub.variables.readonly"])

    def test_ends_after_a_time(self):
        self.assertEqual(self.expect(0, "sniff", "nothing.at.all", "--for", "300ms").output, "")

    def test_shows_malformed_messages_and_goes_on(self):
        publisher = Publisher(self.hub)
        self.addCleanup(publisher.close)
        process = self.sniff()
        files = sorted(file for file in CORPUS.rglob("*") if file.is_file())
        self.assertGreater(len(files), 50)
        for file in files:
            for subject in ("vars.evt.changed", "def.evt.changed", "vars.cmd.write"):
                publisher.publish(f"v1.loc.mad.{subject}", file.read_bytes())
        publisher.publish("v1.loc.mad.vars.evt.changed", b"")
        publisher.publish("v1.loc.end", b"")
        lines = self.read_until(process, "v1.loc.end")
        self.assertGreater(len([line for line in lines if "malformed: " in line]), 50)
        self.assertTrue([one for one in lines if "malformed: message data nullptr" in one])
        self.assertNotIn("\x1b", "".join(lines))
        self.interrupt(process)

    def test_shows_or_counts_every_message(self):
        """Nobody reads the output until all messages were sent, so that some have to be dropped. Of the
        last ones, which show the end, some may be dropped, too."""
        count = 200_000
        publisher = Publisher(self.hub)
        self.addCleanup(publisher.close)
        errors = self.folder / "errors"
        with open(errors, "w", encoding="utf-8") as file:
            process = self.start("sniff", "v1.loc.mad.>", stderr=file)
        ended = threading.Event()
        sender = threading.Thread(target=self.send_again, args=(publisher, "v1.loc.mad.begin", ended))
        sender.start()
        self.read_until(process, "v1.loc.mad.begin")
        ended.set()
        sender.join()
        publisher.publish_many("v1.loc.mad.one", count)
        ended.clear()
        sender = threading.Thread(target=self.send_again, args=(publisher, "v1.loc.mad.end", ended))
        sender.start()
        lines = self.read_until(process, "v1.loc.mad.end")
        ended.set()
        sender.join()
        self.interrupt(process)
        shown = len([line for line in lines if "v1.loc.mad.one" in line])
        dropped = sum(int(one) for one in re.findall(r"(\d+) messages? w(?:as|ere) dropped", errors.read_text("utf-8")))
        self.assertGreater(dropped, 0)
        self.assertGreaterEqual(shown + dropped, count)
        self.assertLess(shown + dropped, count + 1000)

    @staticmethod
    def send_again(publisher, subject, ended):
        """Until one was seen."""
        while not ended.wait(0.1):
            publisher.publish(subject, b"")

    def test_survives_an_outage(self):
        process = self.sniff("v1.loc.odd.>")
        self.hub.fault("server-restart")
        self.assertIn("the hub is lost", process.stderr.readline())
        self.assertIn("the hub is back", process.stderr.readline())
        self.read_until(process, "odd")
        self.interrupt(process)

    def test_names_the_subject_of_a_provider(self):
        result = self.expect(0, "sniff", "odd", "--for", "100ms")
        self.assertIn("for a provider: corvelctl sniff 'v1.loc.odd.>'\n", result.errors)
        self.assertEqual(self.expect(0, "sniff", "v1.loc.odd.>", "--for", "100ms").errors, "")

    def test_ends_when_nobody_reads(self):
        process = self.sniff()
        process.stdout.close()
        process.wait()
        self.assertEqual(process.returncode, 0)

    def test_names_what_is_wrong(self):
        self.assertIn("is no subject", self.expect(2, "sniff", "a b").errors)
        self.assertIn("is no subject", self.expect(2, "sniff", "a..b").errors)
        self.expect(5, "sniff", "--hub", "nats://127.0.0.1:1")
        wrong = self.write_file("wrong", "wrong\n")
        self.assertIn("gives no token", self.expect(4, "sniff", "--secret-file", wrong).errors)

    def test_names_a_subject_that_is_not_allowed(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            thread = threading.Thread(target=self.forbid, args=(server,))
            thread.start()
            result = self.expect(4, "sniff", "--hub", f"nats://127.0.0.1:{server.getsockname()[1]}")
            thread.join()
        self.assertIn("does not allow a client with the scope hub.variables.readonly", result.errors)

    @staticmethod
    def forbid(server):
        """A NATS server that allows no subscription."""
        connection, _ = server.accept()
        with connection, connection.makefile("rb") as lines:
            connection.sendall(b'INFO {"server_id":"x","version":"2.9.10","headers":true,"proto":1,"max_payload":1048576}\r\n')
            for line in iter(lines.readline, b""):
                if line.startswith(b"SUB"):
                    connection.sendall(b"-ERR 'Permissions Violation for Subscription to \"x\"'\r\n")
                elif line.startswith(b"PING"):
                    connection.sendall(b"PONG\r\n")
