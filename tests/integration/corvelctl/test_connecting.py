# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Connecting, and the words for every way in which it fails."""

import itertools
import json
import signal
import socket
import subprocess

from tool_run import BUILD, CLIENT, END_WITH_PARENT, PATIENCE, SECRET, FollowingTest, HubTest


def address_of(url):
    return url.split("/")[2]


def make_certificate(folder, name):
    """The file of a certificate for 127.0.0.1 that has signed itself, and the line of a NATS server's
    configuration that uses it."""
    certificate, key = folder / f"{name}.pem", folder / f"{name}.key"
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes",
         "-days", "2", "-subj", f"/CN={name}", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key,
         "-out", certificate], check=True, stderr=subprocess.DEVNULL)
    return certificate, f'tls {{ cert_file: "{certificate}", key_file: "{key}" }}\n'


class Connecting(HubTest):
    def fails(self, code, text, *arguments):
        self.assertEqual(self.expect(code, "providers", *arguments).errors, text)

    def test_finds_no_providers(self):
        self.assertEqual(self.expect(0, "providers", "-j").objects(), [])
        self.assertEqual(
            self.expect(0, "providers").errors, "corvelctl: the hub has no providers\n")
        self.assertEqual(self.expect(0, "providers", "--quiet").errors, "")

    def test_takes_a_flag_before_the_environment_and_that_before_the_context(self):
        self.expect(0, "context", "add", "hub", "--hub", self.hub.access["nats_url"],
                    "--token-url", self.hub.access["token_url"], "--client-id", "developer",
                    "--secret-file", self.secret_file)
        self.environment["CORVEL_HUB"] = "nats://127.0.0.1:1"
        self.expect(5, "providers")
        self.expect(0, "providers", "--hub", self.hub.access["nats_url"])
        for name in ("CORVEL_HUB", "CORVEL_TOKEN_URL", "CORVEL_CLIENT_ID", "CORVEL_SECRET_FILE"):
            del self.environment[name]
        self.expect(0, "providers")
        self.environment["CORVEL_CONTEXT"] = "hbu"
        self.expect(3, "providers")
        self.expect(0, "providers", "--context", "hub")

    def test_asks_only_for_permission_to_read(self):
        self.expect(0, "providers")
        self.assertEqual(set(self.hub.scopes()), {"hub.variables.readonly"})

    def test_uses_another_server_if_the_first_one_is_away(self):
        self.expect(0, "providers", "--hub",
                    "nats://127.0.0.1:1," + self.hub.access["nats_url"])

    def test_finds_no_server(self):
        self.fails(5, "corvelctl: no server at nats://127.0.0.1:1\n"
                   "  check --hub, and that the NATS server is running; on this machine: corvelctl "
                   "dev status\n", "--hub", "nats://127.0.0.1:1")

    def test_finds_no_token_endpoint(self):
        self.fails(5, "corvelctl: no server at the token endpoint http://127.0.0.1:1/token\n"
                   "  check --token-url, and that the token endpoint is running\n",
                   "--token-url", "http://127.0.0.1:1/token")

    def test_recognises_a_wrong_path_of_the_token_endpoint(self):
        server, token = self.hub.access["nats_url"], self.hub.access["token_url"]
        self.fails(4, f"corvelctl: the NATS server {server} accepts no token from {token}s\n"
                   "  check the path of --token-url (a wrong path gives no token: 404), and that "
                   "the endpoint belongs to this hub\n", "--token-url", token + "s")

    def test_explains_a_wrong_secret_without_showing_it(self):
        wrong = self.write_file("wrong", "not-the-one\n")
        result = self.expect(4, "providers", "--verbose", "--secret-file", wrong)
        self.assertNotIn("not-the-one", result.errors)
        self.assertIn(
            f"corvelctl: the token endpoint {self.hub.access['token_url']} gives no token to client "
            '"developer": invalid_client: unknown client id or wrong secret\n'
            f"  check --client-id, the secret in {wrong}, and the path of --token-url\n",
            result.errors)

    def test_recognises_the_port_of_the_server_in_the_token_url(self):
        url = f"http://{address_of(self.hub.access['nats_url'])}/token"
        self.fails(5, f"corvelctl: the token endpoint {url} answers, but not with HTTP\n"
                   "  is that the port of the NATS server? Check --token-url, and --hub\n",
                   "--token-url", url)

    def test_recognises_a_server_that_is_no_hub(self):
        url = f"nats://{address_of(self.hub.access['token_url'])}"
        result = self.expect(5, "providers", "--hub", url, "--timeout", "2s")
        self.assertIn(f"nothing at {url} answers as a NATS server: Timeout\n", result.errors)

    def test_warns_once_of_a_secret_that_others_may_read(self):
        self.start_provider()
        self.secret_file.chmod(0o644)
        warning = f"warning: others may read the secret file; make it private: chmod 600 {self.secret_file}\n"
        for command in (("providers",), ("watch", "odd", "--count", 1)):  # watch connects twice
            self.assertEqual(self.expect(0, *command).errors.count(warning), 1)

    def test_ends_in_time(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            url = f"nats://127.0.0.1:{silent.getsockname()[1]}"
            patient = self.start("providers", "--hub", url, "--timeout", "10min")
            result = self.run_tool("providers", "--hub", url, "--timeout", "300ms")
            self.assertIn(result.code, (5, 6))
            self.assertIsNone(patient.poll())

    def test_ends_although_the_reader_of_its_error_is_stuck(self):
        process = self.start("providers", "--hub", "nats://127.0.0.1:1", stderr=self.make_full_pipe())
        self.assertEqual(process.wait(PATIENCE), 5)

    def test_ends_by_a_signal_while_it_waits(self):
        for number, code in ((signal.SIGINT, 130), (signal.SIGTERM, 143)):
            with socket.create_server(("127.0.0.1", 0)) as silent:
                url = f"nats://127.0.0.1:{silent.getsockname()[1]}"
                process = self.start("providers", "--hub", url, "--timeout", "10min")
                silent.settimeout(PATIENCE)
                with silent.accept()[0]:
                    process.send_signal(number)
                    self.assertEqual(self.finish(process).code, code)


class ClusterTest(FollowingTest):
    """A hub of two servers, the second one with further lines of configuration."""

    def start_cluster(self, configuration=""):
        self.cluster = subprocess.Popen(
            [BUILD / "tests/integration/corvelctl/corvelctl_cluster_hub", CLIENT, SECRET, configuration],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.cluster.stdout.close)
        self.addCleanup(self.cluster.wait)
        self.addCleanup(self.cluster.stdin.close)
        self.access = json.loads(self.cluster.stdout.readline())
        self.provider = self.start_provider(nats_url=self.access["first"],
                                            token_url=self.access["token_url"])
        self.environment["CORVEL_TOKEN_URL"] = self.access["token_url"]


class Cluster(ClusterTest):
    """One of the two servers is killed."""

    def setUp(self):
        super().setUp()
        self.start_cluster()
        self.environment["CORVEL_HUB"] = self.access["second"] + "," + self.access["first"]

    def kill_the_second(self):
        self.cluster.stdin.write("\n")
        self.cluster.stdin.flush()
        self.assertEqual(self.cluster.stdout.readline(), "killed\n")

    def test_goes_on_when_one_server_is_killed(self):
        only_second = ("--hub", self.access["second"])
        watching = self.start("watch", "odd", "-j")
        self.read_json_until(watching, event="here")
        self.expect(0, "write", "odd", "flags/on=off", *only_second)
        self.kill_the_second()
        self.expect(5, "read", "odd", *only_second)
        self.expect(0, "read", "odd", "--strict", "flags/on")
        self.read_json_until(watching, event="back")
        self.expect(0, "write", "odd", "flags/on=on")
        self.read_json_until(watching, path="flags/on", value=True, freshness="live")
        self.assertEqual(self.interrupt(watching).code, 130)


class Encrypted(ClusterTest):
    """The tool reaches only the server with TLS, and the provider only the other one."""

    def setUp(self):
        super().setUp()
        certificate, configuration = make_certificate(self.folder, "server")
        self.start_cluster(configuration)
        self.environment["CORVEL_HUB"] = self.access["second"].replace("nats:", "tls:")
        self.environment["CORVEL_CA_FILE"] = str(certificate)

    def test_shows_and_writes_values(self):
        watching = self.start("watch", "odd", "-j")
        self.read_json_until(watching, event="here")
        shown, = self.expect(0, "read", "odd", "flags/on", "-j").objects()
        self.assertEqual((shown["value"], shown["quality"]), (True, "good"))
        self.expect(0, "write", "odd", "flags/on=off")
        self.read_json_until(watching, path="flags/on", value=False, freshness="live")
        self.assertEqual(self.interrupt(watching).code, 130)

    def test_provides_values(self):
        kiln = self.write_file("kiln.json", '{"provider": "kiln", "variables": '
                               '[{"path": "valve", "data_type": "bool", "access": "read-write"}]}')
        providing = self.start("provide", kiln, "--accept-writes")
        self.expect(0, "wait", "kiln", "valve", "==", "off")
        self.expect(0, "write", "kiln", "valve=on")
        self.assertEqual(self.interrupt(providing).code, 130)

    def test_takes_the_authority_from_the_context(self):
        flags = {"CORVEL_HUB": "--hub", "CORVEL_TOKEN_URL": "--token-url", "CORVEL_CLIENT_ID": "--client-id",
                 "CORVEL_SECRET_FILE": "--secret-file", "CORVEL_CA_FILE": "--ca-file"}
        given = [(flag, self.environment.pop(name)) for name, flag in flags.items()]
        self.expect(0, "context", "add", "plant", *itertools.chain(*given))
        self.expect(0, "read", "odd", "flags/on")

    def test_refuses_the_certificate_of_another_authority(self):
        """The tool also tries the server without TLS, which the other one announces."""
        other, _ = make_certificate(self.folder, "other")
        for arguments in (("read", "odd"), ("write", "odd", "flags/on=off"), ("watch", "odd")):
            self.assertRegex(self.expect(5, *arguments, "--ca-file", other).errors,
                             r"^corvelctl: no TLS connection to tls://127.0.0.1:.*\n  .*\bcheck --ca-file\b")


class Encryption(HubTest):
    """A NATS server with TLS, but without a registry."""

    def setUp(self):
        super().setUp()
        self.certificate, configuration = make_certificate(self.folder, "server")
        configuration = self.write_file("tls.conf", f'listen: "127.0.0.1:-1"\n{configuration}')
        ports = self.folder / "ports"
        ports.mkdir()
        server = subprocess.Popen(
            [*END_WITH_PARENT, "nats-server", "-c", configuration, "--ports_file_dir", ports],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        self.wait_for(lambda: list(ports.glob("*.ports")), "the server")
        self.wait_for(lambda: list(ports.glob("*.ports"))[0].read_text("utf-8").endswith("}"),
                      "the server's port")
        url, = json.loads(list(ports.glob("*.ports"))[0].read_text("utf-8"))["nats"]
        self.environment["CORVEL_HUB"] = url.replace("nats:", "tls:")

    def test_connects_if_the_authority_is_known(self):
        self.assertIn("no registry runs on the hub",
                      self.expect(5, "providers", "--ca-file", self.certificate).errors)

    def test_sniffs_only_with_encryption(self):
        self.expect(0, "sniff", "--ca-file", self.certificate, "--for", "100ms")
        for arguments in ((), ("--ca-file", make_certificate(self.folder, "other")[0]),
                          ("--ca-file", self.certificate, "--hub", self.hub.access["nats_url"]),
                          ("--hub", self.hub.access["nats_url"].replace("nats:", "tls:"))):
            result = self.expect(5, "sniff", *arguments, "--for", "100ms")
            self.assertRegex(result.errors, "no TLS connection to (tls|nats)://127.0.0.1:")

    def test_names_the_flag_if_it_is_unknown(self):
        other, _ = make_certificate(self.folder, "other")
        for command in (("providers",), ("read", "odd"), ("write", "odd", "flags/on=off"), ("watch", "odd")):
            for arguments in ((), ("--ca-file", other)):
                self.assertRegex(
                    self.expect(5, *command, *arguments).errors,
                    r"^corvelctl: no TLS connection to tls://127.0.0.1:\d+: SSL Error\b.*\n"
                    r"  check --ca-file, and that the certificate is for this host name\n$")

    def test_sends_no_token_without_encryption(self):
        result = self.expect(5, "providers", "--ca-file", self.certificate, "--hub",
                             self.hub.access["nats_url"])
        self.assertIn("corvelctl: no TLS connection to nats://127.0.0.1:", result.errors)
        self.environment["CORVEL_HUB"] = self.hub.access["nats_url"].replace("nats:", "tls:")
        for command in ("providers", "watch"):
            self.assertEqual(
                self.expect(5, command, "--timeout", "2s").errors,
                f"corvelctl: no TLS connection to {self.environment['CORVEL_HUB']}: the server, or "
                "another of its cluster, has no TLS\n  let the servers use TLS, and check --ca-file; "
                "without TLS, --hub begins with nats://, and --ca-file is left out\n")
        self.expect(5, "wait", "odd", "x", "==", "1", "--timeout", "2s")
