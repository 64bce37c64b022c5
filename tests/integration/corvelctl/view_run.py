# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""A running `corvelctl view`, and requests to it as a browser would send them, or an attacker."""

import http.client
import json
import re

from tool_run import PATIENCE


class View:
    """`test` is the ToolTest that starts it."""

    def __init__(self, test, *arguments, port=0):
        self.process = test.start("view", "--port", port, *arguments)
        self.link = self.process.stdout.readline().strip()
        test.assertRegex(self.link, r"^http://", "corvelctl view did not start")
        self.base, _, token = self.link.partition("/?token=")
        self.token = token
        self.host, self.port = re.fullmatch(r"http://(.*):(\d+)/?", self.base).groups()
        self.cookie = None

    def request(self, path, method="GET", headers=None, body=None, host=None):
        """Sends a request with the cookie, if there is one, and returns the response, which is read."""
        connection = http.client.HTTPConnection("127.0.0.1", int(self.port), timeout=PATIENCE)
        sent = {"Host": host or f"127.0.0.1:{self.port}", **(headers or {})}
        if self.cookie and "Cookie" not in sent:
            sent["Cookie"] = self.cookie
        connection.request(method, path, body, sent)
        response = connection.getresponse()
        response.body = response.read()
        connection.close()
        return response

    def enter(self):
        """Opens the printed link, as a browser that keeps the cookie."""
        response = self.request(f"/?token={self.token}")
        self.cookie = response.headers["Set-Cookie"].split(";")[0]
        return response

    def origin(self):
        return f"http://127.0.0.1:{self.port}"

    def write(self, provider, path, value, **headers):
        return self.request(
            "/api/write", "POST", {"Content-Type": "application/json", "Origin": self.origin(), **headers},
            json.dumps({"provider": provider, "path": path, "value": value}))

    def stream(self):
        return Stream(self)


class Stream:
    """The updates that a page receives."""

    def __init__(self, view):
        self.connection = http.client.HTTPConnection("127.0.0.1", int(view.port), timeout=PATIENCE)
        self.connection.request("GET", "/api/stream", headers={"Cookie": view.cookie})
        self.response = self.connection.getresponse()
        self.variables = {}
        self.about = None
        self.events = []
        self.hub = None

    def read(self):
        """The next update."""
        while True:
            line = self.response.readline().decode("utf-8").rstrip("\n")
            if line == "event: hello":
                self.about = json.loads(self.response.readline()[len("data: "):])
            elif line.startswith("data: "):
                return self.apply(json.loads(line[len("data: "):]))

    def apply(self, update):
        for number, _, path, *_ in update["variables"]:
            self.variables[number] = {"path": path}
        for number, value, _, _, stale in update["values"]:
            self.variables[number].update(value=value, stale=stale)
        self.events += [{"kind": kind, "provider": provider, "text": text}
                        for _, _, kind, provider, text in update["events"]]
        self.hub = update["hub"]
        return update

    def read_until(self, condition):
        while not condition():
            self.read()

    def find(self, path):
        return next((one for one in self.variables.values() if one["path"] == path), {})

    def value(self, path):
        return self.find(path).get("value")

    def close(self):
        self.response.close()
        self.connection.close()
