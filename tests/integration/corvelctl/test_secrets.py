# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Secret and token are in no output and no file of any command, whatever the hub answers."""

import base64
import contextlib
import http.server
import json
import re
import socketserver
import threading

from tool_run import CLIENT, SECRET, OddProviderTest

CONNECTION = ("--hub", "--token-url", "--client-id", "--secret-file")
CREDENTIALS = base64.b64encode(f"{CLIENT}:{SECRET}".encode()).decode()


class RepeatingEndpoint(http.server.BaseHTTPRequestHandler):
    """Refuses tokens, and repeats the credentials."""

    def do_POST(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        content = json.dumps({"error": "invalid_client", "error_description":
                              f"not {SECRET}: {self.headers['Authorization']}"}).encode()
        self.send_response(401)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)

    def log_message(self, *_):
        pass


class RepeatingServer(socketserver.StreamRequestHandler):
    """A NATS server that refuses every client, and repeats its token."""

    def handle(self):
        self.wfile.write(b'INFO {"server_id":"x","version":"2.9.10","headers":true,"proto":1,"max_payload":1048576}\r\n')
        for line in self.rfile:
            if line.startswith(b"CONNECT"):
                token = json.loads(line.partition(b" ")[2])["auth_token"]
                with contextlib.suppress(OSError):
                    self.wfile.write(f"-ERR 'Authorization Violation of {token}'\r\n".encode())
                return


class Secrets(OddProviderTest):
    def setUp(self):
        super().setUp()
        self.secrets.add(CREDENTIALS)
        self.kiln = self.write_file("kiln.json", '{"variables": [{"path": "valve", "data_type": "bool"}]}')
        self.recording = self.folder / "rec.jsonl"

    def serve(self, server_type, handler):
        """The address of a server that runs until the end of the test."""
        server = server_type(("127.0.0.1", 0), handler)
        server.daemon_threads = True
        thread = threading.Thread(target=server.serve_forever)
        thread.start()
        self.addCleanup(server.server_close)
        self.addCleanup(thread.join)
        self.addCleanup(server.shutdown)
        return f"127.0.0.1:{server.server_address[1]}"

    def commands(self):
        """An example of every command; those that fail if the hub refuses come first."""
        settings = (self.environment["CORVEL_" + name[2:].replace("-", "_").upper()] for name in CONNECTION)
        connection = [word for pair in zip(CONNECTION, settings) for word in pair]
        return {
            "providers": (), "browse": ("odd",), "read": ("odd",), "write": ("odd", "flags/on=on"),
            "wait": ("odd", "flags/on", "==", "on"), "watch": ("odd", "--count", "1"),
            "record": ("odd", "-o", self.recording, "--for", "100ms"),
            "provide": (self.kiln, "--for", "100ms"), "pipe": (), "replay": (self.recording, "--as", "copy"),
            "plot": ("odd", "flags/on", "--for", "100ms", "-o", self.folder / "plot.svg"),
            "sniff": (">", "--count", "1"), "def": ("fingerprint", "odd"),
            "doctor": ("--bundle", self.folder / "bundle"), "check": (), "view": ("odd", "--port", "0"),
            "context": ("add", "plant", *connection), "dev": ("status",), "completion": ("bash",),
            "version": (), "help": ("write",)}

    def run_all(self, *flags):
        """The exit codes of all commands, whose outputs are checked."""
        codes = {}
        for name, arguments in self.commands().items():
            process = self.start(name, *arguments, "--verbose", *flags)
            if name == "view" and process.stdout.readline():
                process.terminate()
            codes[name] = self.finish(process).code
        for file in self.folder.rglob("*"):
            if file.is_file() and file != self.secret_file:
                self.assert_hides_secrets(file.read_text("utf-8"))
        return codes

    def test_has_an_example_of_every_command(self):
        listed = re.findall(r"^  ([a-z]+)  ", self.expect(0, "--help").output.partition("Commands:")[2],
                            re.MULTILINE)
        self.assertEqual(set(self.commands()), set(listed))

    def test_are_hidden_where_all_is_well(self):
        for flags in ((), ("--json",)):
            self.recording.unlink(missing_ok=True)
            codes = self.run_all(*flags)
            self.assertEqual({name: code for name, code in codes.items() if code != 0},
                             {"check": 1, "dev": 3})

    def test_are_hidden_from_who_reads_what_the_token_endpoint_repeats(self):
        self.expect(0, "record", "odd", "-o", self.recording, "--for", "100ms")
        address = self.serve(http.server.ThreadingHTTPServer, RepeatingEndpoint)
        self.environment["CORVEL_TOKEN_URL"] = f"http://{address}/token"
        self.assert_refused(self.run_all("--timeout", "2s"))

    def test_are_hidden_from_who_reads_what_the_server_repeats(self):
        self.expect(0, "record", "odd", "-o", self.recording, "--for", "100ms")
        self.environment["CORVEL_HUB"] = "nats://" + self.serve(
            socketserver.ThreadingTCPServer, RepeatingServer)
        self.assert_refused(self.run_all("--timeout", "2s"))

    def assert_refused(self, codes):
        for name in ("context", "dev", "completion", "version", "help"):
            del codes[name]
        self.assertEqual(codes.pop("check"), 2)
        self.assertEqual(set(codes.values()), {4}, codes)
