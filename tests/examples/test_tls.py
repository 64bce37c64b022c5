# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The example of TLS, through relays that add TLS to the development hub, which has none."""

import json
import pathlib
import socket
import ssl
import subprocess
import tempfile
import threading
import urllib.parse

from example_run import ExampleTest, Program, program


class TlsRelay:
    """Relays connections with TLS to a port without. A NATS server speaks first, without TLS: its
    greeting is passed on with the demand for TLS."""

    def __init__(self, test, url, certificate, greets=False):
        self._upstream = urllib.parse.urlsplit(url)
        self._greets = greets
        self._context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        self._context.load_cert_chain(*certificate)
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.url = self._upstream._replace(
            scheme="nats" if greets else "https",
            netloc=f"127.0.0.1:{self._listener.getsockname()[1]}").geturl()
        threading.Thread(target=self._accept, daemon=True).start()
        test.addCleanup(self._listener.close)
        test.addCleanup(self._listener.shutdown, socket.SHUT_RDWR)

    def _accept(self):
        try:
            while True:
                client, _ = self._listener.accept()
                threading.Thread(target=self._serve, args=[client], daemon=True).start()
        except OSError:
            pass  # the test has ended

    def _serve(self, plain):
        server = socket.create_connection((self._upstream.hostname, self._upstream.port))
        try:
            if self._greets:
                verb, _, facts = server.makefile("rb", buffering=0).readline().partition(b" ")
                greeting = json.dumps({**json.loads(facts), "tls_required": True})
                plain.sendall(verb + b" " + greeting.encode() + b"\r\n")
            client = self._context.wrap_socket(plain, server_side=True)
        except (OSError, ssl.SSLError):
            plain.close()  # the client refuses the certificate
            server.close()
            return
        for source, target in ((client, server), (server, client)):
            threading.Thread(target=pump, args=[source, target], daemon=True).start()


def pump(source, target):
    try:
        while data := source.recv(65536):
            target.sendall(data)
    except OSError:
        pass
    try:
        target.shutdown(socket.SHUT_RDWR)  # ends the other direction
    except OSError:
        pass  # which has ended first
    source.close()


class Tls(ExampleTest):
    def setUp(self):
        super().setUp()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.authority = self.make_certificate("authority")
        self.secret = self.folder / "secret"
        self.secret.write_text(f"{self.access[3]}\n", encoding="utf-8")

    def make_certificate(self, name):
        certificate, key = self.folder / f"{name}.pem", self.folder / f"{name}.key"
        subprocess.run(
            ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
             "-nodes", "-days", "2", "-subj", f"/CN={name}", "-addext",
             "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", certificate],
            check=True, capture_output=True)
        return certificate, key

    def start_oven(self, nats_url, token_url):
        return Program(
            self, program("tls"), nats_url, token_url, self.access[2], self.secret,
            self.authority[0])

    def relays(self, server_certificate, token_certificate):
        return (TlsRelay(self, self.access[0], server_certificate, greets=True).url,
                TlsRelay(self, self.access[1], token_certificate).url)

    def test_connects_where_both_certificates_are_of_the_authority(self):
        oven = self.start_oven(*self.relays(self.authority, self.authority))
        oven.wait_for("^ready$")
        consumer = self.start("consumer_minimal", "oven")
        consumer.wait_for(r"temperature .*> double +20 ")
        oven.type(21.5)
        consumer.wait_for(r"temperature .*> double +21.5 ")
        self.assertEqual(oven.end_input(), 0)

    def test_refuses_certificates_of_another_authority(self):
        stranger = self.make_certificate("stranger")
        self.assert_refused(self.relays(stranger, self.authority), "29 = SSL Error$")
        self.assert_refused(self.relays(self.authority, stranger), "11 = Authentication Violation$")

    def test_refuses_a_server_without_tls(self):
        self.assert_refused(
            (self.access[0], self.relays(self.authority, self.authority)[1]),
            "8 = Secure Connection not available$")

    def assert_refused(self, urls, reason):
        oven = self.start_oven(*urls)
        oven.wait_for(reason)
        self.assertEqual(oven.end_input(), 0)
        self.assertNotIn("ready", oven.lines)

    def test_explains_its_arguments(self):
        done = subprocess.run([program("tls")], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 2)
        self.assertEqual(
            done.stderr,
            "usage: tls <nats-url> <token-url> <client-id> <secret-file> <ca-file>\n")
        done = subprocess.run(
            [program("tls"), "a", "b", "c", "/does/not/exist", "e"], capture_output=True,
            text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, "tls: cannot read the secret from /does/not/exist\n")
