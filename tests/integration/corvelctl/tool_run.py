# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What the tests of corvelctl share: a development hub for each test program, and runs of the tool
whose output is checked for secrets."""

import base64
import contextlib
import fcntl
import json
import os
import pathlib
import select
import shutil
import signal
import struct
import subprocess
import tempfile
import termios
import threading
import time
import unittest
import urllib.request

import jsonschema

BUILD = pathlib.Path(os.environ["CORVEL_HUB_BUILD"])
TOOL = BUILD / "tools/corvelctl/corvelctl"
HUB = BUILD / "tools/dev_hub/corvel-dev-hub"
ODD_PROVIDER = BUILD / "tests/integration/corvelctl/corvelctl_odd_provider"
FIXED_PROVIDER = BUILD / "tests/integration/corvelctl/corvelctl_fixed_provider"
FLOOD_PROVIDER = BUILD / "tests/integration/corvelctl/corvelctl_flood_provider"
SCHEMA = json.loads((pathlib.Path(__file__).resolve().parents[3]
                     / "docs/corvelctl.schema.json").read_text(encoding="utf-8"))
CLIENT = "developer"
SECRET = "s3cret-of-the-test"
# In front of a program that nothing else ends when the test program is killed.
END_WITH_PARENT = (shutil.which("setpriv"), "--pdeathsig", "TERM")
PATIENCE = 60  # seconds, for what happens at once on an idle machine


def parse_objects(text):
    """The objects of JSON Lines, each checked against the documented schema."""
    found = [json.loads(line) for line in text.splitlines()]
    for one in found:
        jsonschema.validate(one, SCHEMA)
    return found


def is_full(pipe):
    """Whether a pipe takes no further line."""
    waiting, = struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))
    return waiting > fcntl.fcntl(pipe, fcntl.F_GETPIPE_SZ) - select.PIPE_BUF


def is_input(kind, line):
    """Whether a line of input is what the documented schema asks for."""
    schema = {"definitions": SCHEMA["definitions"], "$ref": f"#/definitions/{kind}"}
    return jsonschema.Draft7Validator(schema).is_valid(line)


def request_token(url, scope="hub.variables.readonly", secret=SECRET):
    """A token of a hub, all of whose clients have the same one."""
    credentials = base64.b64encode(f"{CLIENT}:{secret}".encode()).decode()
    request = urllib.request.Request(
        url, f"grant_type=client_credentials&scope={scope}".encode(),
        {"Authorization": f"Basic {credentials}"})
    with urllib.request.urlopen(request) as reply:
        return json.load(reply)["access_token"]


@contextlib.contextmanager
def limited(process):
    """Kills a process that does not write in time what the test reads."""
    timer = threading.Timer(PATIENCE, process.kill)
    timer.start()
    try:
        yield
    finally:
        timer.cancel()


class Result:
    def __init__(self, code, output, errors):
        self.code, self.output, self.errors = code, output, errors

    def objects(self):
        return parse_objects(self.output)


class Hub:
    """A development hub on free ports."""

    def __init__(self, *arguments):
        self.log = tempfile.TemporaryFile("w+", encoding="utf-8")
        self.process = subprocess.Popen(
            [*END_WITH_PARENT, HUB, "--client-id", CLIENT, "--client-secret", SECRET,
             "--probe-interval", "100", *arguments],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self.log, text=True)
        line = ""
        while not line.startswith("{"):
            line = self.process.stdout.readline()
            if not line:
                raise RuntimeError("the development hub did not start")
        self.access = json.loads(line)
        self.port = self.access["nats_url"].rsplit(":", 1)[1]
        self.token = request_token(self.access["token_url"])

    def scopes(self):
        """The scopes of all tokens that were granted so far."""
        with open(f"/proc/self/fd/{self.log.fileno()}", encoding="utf-8") as events:
            return [line.split()[-1] for line in events if "token granted: developer" in line]

    def fault(self, *arguments):
        subprocess.run([HUB, "fault", *arguments, "--nats-port", self.port], check=True,
                       stdout=subprocess.DEVNULL)

    def start_provider(self, *arguments, program=ODD_PROVIDER):
        return subprocess.Popen(
            [program, self.access["nats_url"], self.access["token_url"], CLIENT, SECRET,
             *map(str, arguments)],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

    def stop(self):
        self.process.terminate()
        self.process.wait(PATIENCE)
        self.process.stdout.close()
        self.log.close()


class ToolTest(unittest.TestCase):
    """A test with folders of its own for the tool's files."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.secret_file = self.write_file("secret", SECRET + "\n")
        self.secrets = {SECRET}  # which no output may contain
        self.environment = {
            "HOME": str(self.folder), "PATH": os.environ["PATH"], "TZ": "CET-1", "LC_ALL": "C.UTF-8",
            **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}}

    def write_file(self, name, text, mode=0o600):
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        path.chmod(mode)
        return path

    def make_full_pipe(self):
        """The end to write to of a pipe that takes nothing, as its reader is stuck."""
        reader, writer = os.pipe()
        self.addCleanup(os.close, reader)
        self.addCleanup(os.close, writer)
        os.set_blocking(writer, False)
        with contextlib.suppress(BlockingIOError):
            while True:
                os.write(writer, bytes(select.PIPE_BUF))
        os.set_blocking(writer, True)
        return writer

    def use_hub(self, hub):
        """The environment's variables for a hub, whose token is secret."""
        self.secrets.add(hub.token)
        self.environment.update({
            "CORVEL_HUB": hub.access["nats_url"], "CORVEL_TOKEN_URL": hub.access["token_url"],
            "CORVEL_CLIENT_ID": CLIENT, "CORVEL_SECRET_FILE": str(self.secret_file)})

    def start(self, *arguments, **options):
        process = subprocess.Popen(
            [*END_WITH_PARENT, TOOL, *map(str, arguments)], env=self.environment,
            stdin=options.pop("stdin", subprocess.DEVNULL), stdout=options.pop("stdout", subprocess.PIPE),
            stderr=options.pop("stderr", subprocess.PIPE), text=True, encoding="utf-8",
            errors="surrogateescape", **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            if stream is not None and not stream.closed:
                stream.close()

    def finish(self, process):
        output, errors = (text or "" for text in process.communicate(timeout=PATIENCE))
        self.assert_hides_secrets(output)
        self.assert_hides_secrets(errors)
        return Result(process.returncode, output, errors)

    def assert_hides_secrets(self, text):
        for secret in self.secrets:
            self.assertNotIn(secret, text)

    def run_tool(self, *arguments):
        return self.finish(self.start(*arguments))

    def expect(self, code, *arguments):
        """Runs the tool and checks its exit code."""
        result = self.run_tool(*arguments)
        self.assertEqual(result.code, code, f"{arguments}: {result.output}{result.errors}")
        return result

    def wait_for(self, condition, what):
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline, f"waited without success: {what}")
            time.sleep(0.01)

    def read_until(self, process, text):
        """The lines of a running tool up to the first one with the text."""
        lines = []
        with limited(process):
            while not lines or text not in lines[-1]:
                line = process.stdout.readline()
                if not line:
                    self.fail(f"ended without '{text}': {lines[-20:]}")
                self.assert_hides_secrets(line)
                lines.append(line)
        return lines

    def tell(self, process, *lines):
        """Writes JSON Lines, or lines as they are, to a running tool."""
        for line in lines:
            process.stdin.write((line if isinstance(line, str) else json.dumps(line)) + "\n")
        process.stdin.flush()

    def interrupt(self, process):
        process.send_signal(signal.SIGINT)
        return self.finish(process)


class HubTest(ToolTest):
    """A test with the hub of its test program."""

    @classmethod
    def setUpClass(cls):
        cls.hub = Hub()
        cls.addClassCleanup(cls.hub.stop)

    def setUp(self):
        super().setUp()
        self.use_hub(self.hub)

    def start_provider(self, identifier="odd", further=0):
        """Starts one and returns it when the registry has accepted its definition."""
        return self.accepted(self.hub.start_provider(identifier, further))

    def start_fixed_provider(self, identifier, fingerprint, *variables, age=0):
        """The same with variables as "path=double" or "path=bool" and values of an age in seconds."""
        return self.accepted(self.hub.start_provider(
            identifier, fingerprint, *variables, age, program=FIXED_PROVIDER))

    def accepted(self, provider):
        self.addCleanup(provider.communicate)
        self.assertEqual(provider.stdout.readline(), "ready\n")
        return provider


class FollowingTest(HubTest):
    """A test that starts, kills and restarts the provider of its own."""

    def start_provider(self, program=ODD_PROVIDER, *arguments, **elsewhere):
        access = {**self.hub.access, **elsewhere}
        provider = subprocess.Popen(
            [program, access["nats_url"], access["token_url"], CLIENT, SECRET, *arguments],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        self.addCleanup(self.end, provider)
        self.addCleanup(provider.stdin.close)
        self.assertEqual(provider.stdout.readline(), "ready\n")
        return provider

    def kill(self, provider):
        provider.kill()
        provider.wait()

    def read_json_until(self, process, **wanted):
        """The objects of a running tool up to the first one with these keys."""
        shown = []
        with limited(process):
            while not shown or any(shown[-1].get(key) != value for key, value in wanted.items()):
                line = process.stdout.readline()
                if not line:
                    self.fail(f"ended without {wanted}: {shown[-5:]}")
                self.assert_hides_secrets(line)
                shown += parse_objects(line)
        return shown


class OddProviderTest(HubTest):
    """A test with the provider "odd" on the hub."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.provider = cls.hub.start_provider()
        cls.addClassCleanup(cls.end_provider)
        if cls.provider.stdout.readline() != "ready\n":
            raise RuntimeError("the provider did not start")

    @classmethod
    def end_provider(cls):
        cls.provider.communicate(timeout=PATIENCE)

    def value(self, path):
        shown, = self.expect(0, "read", "odd", path, "-j").objects()
        return shown
