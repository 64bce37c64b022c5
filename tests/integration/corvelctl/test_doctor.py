# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The diagnosis: every check failing, on a hub that is broken in the way that it looks for."""

import base64
import email.utils
import http.server
import json
import signal
import socket
import stat
import threading
import time
import urllib.error
import urllib.request

from tool_run import SECRET, Hub, HubTest, ToolTest


class Endpoint(http.server.BaseHTTPRequestHandler):
    """Passes requests for tokens on, and changes the reply as the test wants."""

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        wanted = urllib.request.Request(self.server.behind, body, dict(self.headers))
        with urllib.request.urlopen(wanted) as granted:
            reply = json.loads(granted.read()) | self.server.fields
        content = json.dumps(reply, separators=self.server.separators).encode()
        self.send_response(200)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        self.wfile.write(content)

    def date_time_string(self, timestamp=None):
        return email.utils.formatdate(time.time() + self.server.ahead, usegmt=True)

    def log_message(self, *_):
        pass


class DoctorTest(HubTest):
    def examine(self, code, *arguments):
        """The checks by their names, each name once for every check of it."""
        found = {}
        for one in self.expect(code, "doctor", "-j", *arguments).objects():
            found.setdefault(one["check"], []).append(one)
        return found

    def fails(self, code, check, text, *arguments):
        """Expects that this is the first check that fails, and says what to do."""
        checks = self.examine(code, *arguments)
        failed = [one for all_of_name in checks.values() for one in all_of_name
                  if one["outcome"] == "failed"]
        self.assertEqual(failed[0]["check"], check, failed)
        self.assertIn(text, failed[0]["text"])
        self.assertTrue(failed[0]["cure"])
        return checks


class Settings(ToolTest):
    def test_say_what_is_missing(self):
        result = self.expect(2, "doctor")
        self.assertIn("failed   settings        where is the hub? Not given: --hub", result.output)
        self.assertIn("\n                         start a hub on this machine", result.output)


class Connection(DoctorTest):
    def test_finds_nothing_wrong(self):
        self.start_provider()
        checks = self.examine(0)
        self.assertEqual(list(checks), [
            "settings", "name look-up", "tcp", "nats server", "token endpoint", "token fields",
            "clock", "authorization", "registry", "provider", "unique names", "versions"])
        self.assertIn("odd answers after ", checks["provider"][0]["text"])
        self.assertEqual(checks["clock"][0]["outcome"], "skipped")
        for check in ("name look-up", "tcp"):
            self.assertEqual([one["text"].split(": ")[0] for one in checks[check]],
                             ["NATS server", "token endpoint"])

    def test_warns_of_a_secret_that_others_may_read(self):
        self.secret_file.chmod(0o644)
        self.assertEqual(self.examine(0)["settings"][0]["outcome"], "warning")

    def test_finds_no_name(self):
        self.fails(5, "name look-up", "the name hub.invalid has no address",
                   "--hub", "nats://hub.invalid:4222")
        self.fails(5, "name look-up", "the name hub.invalid has no address",
                   "--token-url", "http://hub.invalid/token")

    def test_finds_no_port(self):
        self.fails(5, "tcp", "127.0.0.1:1 accepts no connection: Connection refused",
                   "--hub", "nats://127.0.0.1:1")
        checks = self.fails(5, "tcp", "127.0.0.1:1 accepts no connection",
                            "--token-url", "http://127.0.0.1:1/token")
        self.assertEqual(checks["token endpoint"][0]["outcome"], "skipped")
        self.assertEqual(checks["registry"][0]["outcome"], "skipped")

    def test_examines_every_server(self):
        checks = self.fails(5, "tcp", "127.0.0.1:1 accepts no connection", "--hub",
                            "nats://127.0.0.1:1," + self.hub.access["nats_url"])
        self.assertEqual(checks["nats server"][0]["outcome"], "ok")
        self.assertEqual(checks["authorization"][0]["outcome"], "ok")

    def test_recognises_a_server_of_something_else(self):
        with socket.create_server(("127.0.0.1", 0)) as other:
            url = f"nats://127.0.0.1:{other.getsockname()[1]}"
            self.fails(5, "nats server", "sends nothing", "--hub", url, "--timeout", "2s")
            other.accept()[0].close()

            for greeting in (b"220 mail\r\n", b'INFO {"version":2}\r\n', b'INFO {"tls_required":"no"}\r\n',
                             b'INFO {"headers":null}\r\n', b"INFO []\r\n"):
                def greet(text=greeting):
                    with other.accept()[0] as client:
                        client.sendall(text)

                answer = threading.Thread(target=greet)
                answer.start()
                self.fails(5, "nats server", "does not speak as a NATS server", "--hub", url,
                           "--timeout", "2s")
                answer.join()

    def test_names_a_wrong_path_of_the_token_endpoint(self):
        checks = self.fails(4, "token endpoint", "status 404",
                            "--token-url", self.hub.access["token_url"] + "s")
        self.assertEqual(checks["token endpoint"][0]["cure"], "check the path of --token-url")

    def test_recognises_the_port_of_the_server_in_the_token_url(self):
        url = self.hub.access["nats_url"].replace("nats:", "http:") + "/token"
        self.fails(5, "token endpoint", "no HTTP reply", "--token-url", url)

    def test_names_a_wrong_secret(self):
        wrong = self.write_file("wrong", "not-the-one\n")
        checks = self.fails(4, "token endpoint", "status 401: invalid_client", "--secret-file", wrong)
        self.assertNotIn("not-the-one", str(checks))


class Token(DoctorTest):
    def setUp(self):
        super().setUp()
        self.endpoint = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Endpoint)
        self.endpoint.behind = self.hub.access["token_url"]
        self.endpoint.fields, self.endpoint.ahead = {}, 0
        self.endpoint.separators = ",", ":"
        thread = threading.Thread(target=self.endpoint.serve_forever)
        thread.start()
        self.addCleanup(self.endpoint.server_close)
        self.addCleanup(thread.join)
        self.addCleanup(self.endpoint.shutdown)
        self.environment["CORVEL_TOKEN_URL"] = \
            f"http://127.0.0.1:{self.endpoint.server_address[1]}/token"

    def test_compares_the_clocks(self):
        self.assertEqual(self.examine(0)["clock"][0]["outcome"], "ok")
        self.endpoint.ahead = 3600
        checks = self.fails(1, "clock", "this machine's clock is 3")
        self.assertIn(" behind the token endpoint's", checks["clock"][0]["text"])
        self.endpoint.ahead = -3600
        self.fails(1, "clock", " ahead of the token endpoint's")

    def test_finds_another_scope(self):
        self.endpoint.fields = {"scope": "openid hub.variables.readonly"}
        self.examine(0)
        self.endpoint.fields = {"scope": "openid"}
        self.fails(4, "token fields", 'the scope "openid" instead of hub.variables.readonly')

    def test_hides_secrets_that_the_endpoint_repeats(self):
        self.endpoint.fields = {"scope": SECRET}
        self.fails(4, "token fields", 'the scope "***" instead of')
        self.endpoint.fields = {"access_token": "granted-today", "scope": "granted-today"}
        self.fails(4, "token fields", 'the scope "***" instead of')

    def test_finds_a_reply_that_the_library_does_not_read(self):
        self.endpoint.separators = ", ", ": "
        checks = self.fails(4, "token fields", "the library finds no token in the reply")
        self.assertEqual(checks["authorization"][0]["outcome"], "failed")

    def test_finds_an_expiry(self):
        self.endpoint.fields = {"expires_in": 20}
        self.assertIn("expires after 20s", self.examine(0)["token fields"][0]["text"])
        self.assertEqual(self.examine(0)["token fields"][0]["outcome"], "warning")
        self.endpoint.fields = {"expires_in": 0}
        self.fails(4, "token fields", "has expired when it arrives")

    def test_reads_a_web_token(self):
        claims = base64.urlsafe_b64encode(json.dumps({"exp": 1, "scope": "a?>"}).encode())
        token = "e30." + claims.decode().rstrip("=") + ".x"
        self.endpoint.fields = {"access_token": token}
        checks = self.fails(4, "token fields", 'the scope "a?>"')
        self.assertEqual(checks["authorization"][0]["outcome"], "failed")
        self.assertNotIn(token, str(checks))

    def test_finds_a_token_that_the_server_does_not_accept(self):
        self.endpoint.fields = {"access_token": "another"}
        self.fails(4, "authorization", "accepts no token from")


class OwnHubTest(DoctorTest):
    """Each test on a hub of its own, because faults last and the registry lists ended providers for a while."""

    def setUp(self):
        ToolTest.setUp(self)
        self.hub = Hub()
        self.addCleanup(self.hub.stop)
        self.use_hub(self.hub)


class Faults(OwnHubTest):
    def test_finds_a_slow_token_endpoint(self):
        self.hub.fault("token-slow", "10m", "--delay", "2500ms")
        self.fails(6, "token endpoint", "a NATS server waits 2s for it")

    def test_finds_a_token_endpoint_that_refuses(self):
        self.hub.fault("token-refuse", "10m")
        self.fails(4, "token endpoint", "status 401: invalid_client")

    def test_finds_a_frozen_server(self):
        self.hub.fault("freeze", "10m")
        self.fails(5, "nats server", "sends nothing", "--timeout", "10s")

    def test_finds_no_server(self):
        self.hub.fault("nats-down", "10m")
        self.fails(5, "tcp", "Connection refused")

    def test_finds_a_registry_that_does_not_answer(self):
        self.hub.fault("registry-silent", "10m")
        checks = self.fails(6, "registry", "the registry does not answer")
        self.assertEqual(checks["authorization"][0]["outcome"], "ok")


class Providers(OwnHubTest):
    def test_are_missing(self):
        self.assertEqual(self.examine(0)["registry"][0]["text"], "it lists no providers")

    def test_do_not_answer(self):
        provider = self.start_provider()
        self.addCleanup(provider.send_signal, signal.SIGCONT)
        provider.send_signal(signal.SIGSTOP)
        self.fails(6, "provider", 'provider "odd" does not answer')

    def test_are_two_under_one_name(self):
        self.start_fixed_provider("twin", 7, "a=double")
        self.start_fixed_provider("twin", 7, "a=double")
        self.fails(1, "unique names", "2 programs answer as provider twin")

    def test_have_an_equal_fingerprint_with_another_set(self):
        self.start_fixed_provider("left", 7, "a=double")
        self.start_fixed_provider("other", 7, "a=double")
        self.examine(0)
        self.start_fixed_provider("right", 7, "a=bool")
        self.fails(8, "provider", "right and left have the fingerprint 0x0000000000000007")

    def test_send_other_variables_than_are_defined(self):
        self.start_fixed_provider("twin", 7, "a=double")
        second = self.start_fixed_provider("twin", 7, "a=bool")
        self.addCleanup(second.send_signal, signal.SIGCONT)
        second.send_signal(signal.SIGSTOP)
        self.fails(8, "provider", 'provider "twin" sends other variables than its definition has')

    def test_have_values_from_the_future(self):
        self.start_fixed_provider("early", 7, "a=double", age=-3600)
        checks = self.examine(0)
        self.assertIn("its newest value is from the future", checks["provider"][0]["text"])


class Bundle(OwnHubTest):
    def test_has_everything_but_secrets(self):
        self.start_provider()
        file = self.folder / "bundle.jsonl"
        self.environment["CORVEL_HUB"] = self.hub.access["nats_url"].replace("//", "//me:hidden@")
        self.run_tool("doctor", "--bundle", file, "--verbose")
        self.assertEqual(stat.S_IMODE(file.stat().st_mode), 0o600)
        text = file.read_text("utf-8")
        lines = [json.loads(line) for line in text.splitlines()]
        self.assertLessEqual({"doctor", "connection", "check"}, {one["type"] for one in lines})
        self.assert_hides_secrets(text)
        self.assertNotIn("hidden", text)

    def test_has_the_definitions(self):
        self.start_provider()
        file = self.folder / "bundle.jsonl"
        self.expect(0, "doctor", "--bundle", file)
        self.expect(0, "def", "diff", file, "odd")
        self.expect(1, "doctor", "--bundle", self.folder)
