# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""view: who may see the page, what a page receives, and what it costs the hub."""

import json
import time

from tool_run import FLOOD_PROVIDER, PATIENCE, FollowingTest, parse_objects
from view_run import View


class Entering(FollowingTest):
    def test_lets_in_only_who_opens_the_printed_address(self):
        view = View(self, "--wait")
        for path in ("/", "/?token=", "/?token=" + "0" * 64):
            response = view.request(path)
            self.assertEqual(response.status, 401)
            self.assertIsNone(response.headers["Set-Cookie"])
        for path in ("/api/stream", "/api/history"):
            self.assertEqual(view.request(path).status, 401)
        response = view.enter()
        self.assertEqual(response.status, 200)
        self.assertRegex(response.headers["Set-Cookie"], "; HttpOnly; SameSite=Strict$")
        self.assertEqual(view.request("/").status, 200)
        self.assertEqual(view.request("/api/history").status, 200)

    def test_forbids_the_page_to_load_anything_from_elsewhere(self):
        view = View(self, "--wait")
        for response in (view.request("/"), view.enter(), view.request("/page/main.js"),
                         view.request("/api/history"), view.request("/none")):
            policy = response.headers["Content-Security-Policy"]
            self.assertIn("default-src 'none'", policy)
            self.assertIn("frame-ancestors 'none'", policy)
            self.assertNotIn("unsafe", policy)
            self.assertEqual(response.headers["X-Content-Type-Options"], "nosniff")
            self.assertEqual(response.headers["Cache-Control"], "no-store")
        self.assertNotRegex(view.request("/").body.decode(), r"(src|href)=\"(?!/)")

    def test_refuses_requests_with_the_name_of_another_server(self):
        view = View(self, "--wait")
        view.enter()
        for host in ("evil.example", f"evil.example:{view.port}", "127.0.0.1", f"192.168.0.7:{view.port}"):
            for path in ("/", "/api/history", "/page/main.js", f"/?token={view.token}"):
                self.assertEqual(view.request(path, host=host).status, 421, host)

    def test_refuses_requests_of_other_sites(self):
        view = View(self, "--wait", "--allow-writes")
        view.enter()
        for origin in ("http://evil.example", "null", "http://127.0.0.1:1", f"https://127.0.0.1:{view.port}"):
            self.assertEqual(view.write("odd", "flags/on", "false", Origin=origin).status, 403, origin)
            self.assertEqual(view.request("/api/history", headers={"Origin": origin}).status, 403)
        self.assertEqual(
            view.request("/api/history", headers={"Sec-Fetch-Site": "cross-site"}).status, 403)
        no_origin = view.request("/api/write", "POST", {"Content-Type": "application/json"}, "{}")
        self.assertEqual(no_origin.status, 403)
        # What a form of another site could send.
        form = view.write("odd", "flags/on", "false", **{"Content-Type": "text/plain"})
        self.assertEqual(form.status, 400)

    def test_answers_only_this_machine(self):
        view = View(self, "--wait")
        address = f":{int(view.port):04X} "
        with open("/proc/net/tcp", encoding="ascii") as sockets:
            listening = [line.split()[1] for line in sockets if address in line and line.split()[3] == "0A"]
        self.assertEqual(listening, [f"0100007F:{int(view.port):04X}"])

    def test_lets_in_once_from_another_address(self):
        view = View(self, "--wait", "--listen", "0.0.0.0")
        self.assertEqual(view.enter().status, 200)
        cookie, view.cookie = view.cookie, None
        self.assertEqual(view.request(f"/?token={view.token}").status, 401)
        view.cookie = cookie
        self.assertEqual(view.request("/api/history").status, 200)

    def test_asks_for_the_password(self):
        password_file = self.write_file("password", "open sesame\n")
        view = View(self, "--wait", "--listen", "0.0.0.0", "--password-file", password_file)
        self.assertEqual(view.token, "")
        self.assertEqual(view.request("/").status, 401)
        self.assertIn(b"password", view.request("/").body)

        def login(password):
            return view.request("/login", "POST", {"Origin": view.origin()}, password)
        self.assertEqual(login("sesame").status, 401)
        self.assertEqual(login("open sesame").status, 429)  # guessing takes time
        self.wait_for(lambda: login("open sesame").status == 204, "the password")
        view.cookie = login("open sesame").headers["Set-Cookie"].split(";")[0]
        self.assertEqual(view.request("/api/history").status, 200)

    def test_accepts_the_proxy_that_was_named(self):
        process = self.start("view", "--wait", "--port", "0", "--public-url", "https://hub.example.com")
        self.assertRegex(process.stdout.readline(), r"^https://hub\.example\.com/\?token=")
        result = self.expect(2, "view", "--wait", "--port", "0", "--public-url", "hub.example.com/x")
        self.assertIn("write it without a path", result.errors)

    def test_lets_a_page_in_again_after_a_restart(self):
        first = View(self, "--wait")
        first.enter()
        first.process.terminate()
        self.assertEqual(self.finish(first.process).code, 0)
        second = View(self, "--wait", port=first.port)
        second.cookie = first.cookie
        self.assertEqual(second.request("/api/history").status, 200)
        self.assertNotEqual(first.token, second.token)
        self.assertEqual(list(self.folder.glob("**/view-key"))[0].stat().st_mode & 0o777, 0o600)

    def test_refuses_what_is_no_request(self):
        view = View(self, "--wait", "--allow-writes")
        view.enter()
        for query in ("v=x", "v=1,,2", "v=0&from=x", "v=-1", "v=0&after=1e3", "v=0&most=-1"):
            self.assertEqual(view.request(f"/api/history?{query}").status, 400, query)
        headers = {"Content-Type": "application/json", "Origin": view.origin()}
        for body in ("", "[]", "{}", '{"provider": 1, "path": "", "value": ""}', "{" * 10000):
            self.assertEqual(view.request("/api/write", "POST", headers, body).status, 400)
        self.assertEqual(view.request("/api/write", "POST", headers, "x" * 100_000).status, 413)
        self.assertEqual(view.request("/page/../../etc/passwd").status, 404)

    def test_prints_the_address_as_json(self):
        process = self.start("view", "--wait", "--port", "0", "-j")
        shown, = parse_objects(process.stdout.readline())
        self.assertRegex(shown["url"], r"^http://127\.0\.0\.1:\d+/\?token=")

    def test_names_the_port_that_is_taken(self):
        view = View(self, "--wait")
        result = self.expect(1, "view", "--wait", "--port", view.port)
        self.assertIn("choose a free port", result.errors)


class Showing(FollowingTest):
    def open(self, *arguments):
        view = View(self, *arguments)
        view.enter()
        stream = view.stream()
        self.addCleanup(stream.close)
        return view, stream

    def test_shows_values_and_changes(self):
        self.start_provider()
        _, stream = self.open("odd")
        stream.read_until(lambda: stream.value("texts/plain") == "ä")
        self.assertEqual(stream.value("numbers/large"), "9007199254740993")
        self.expect(0, "write", "odd", "flags/on=off")
        stream.read_until(lambda: stream.value("flags/on") is False)

    def test_sends_at_most_ten_updates_a_second_with_the_latest_values(self):
        self.start_provider(FLOOD_PROVIDER, "200", "50")
        _, stream = self.open("flood")
        stream.read_until(lambda: len(stream.variables) == 50)
        begin = time.monotonic()
        for _ in range(20):
            values = stream.read()["values"]
            self.assertLessEqual(len(values), 50)
        self.assertGreater(time.monotonic() - begin, 1.8)

    def test_costs_the_hub_one_consumer_for_twenty_pages(self):
        self.start_provider()
        view, stream = self.open("odd")
        stream.read_until(lambda: stream.value("flags/on") is not None)
        tokens = len(self.hub.scopes())
        for _ in range(19):
            further = view.stream()
            self.addCleanup(further.close)
            further.read_until(lambda further=further: further.value("flags/on") is not None)
        self.assertEqual(len(self.hub.scopes()), tokens)
        self.assertIn("readonly", self.hub.scopes()[-1])

    def test_refuses_pages_beyond_its_limit_and_forgets_those_that_are_closed(self):
        view, stream = self.open("--wait")
        streams = [view.stream() for _ in range(45)]
        self.assertIn(503, [one.response.status for one in streams])
        stream.read()
        for one in streams:
            one.close()
        self.wait_for(lambda: self.can_connect(view), "a place for a page")

    @staticmethod
    def can_connect(view):
        stream = view.stream()
        stream.close()
        return stream.response.status == 200

    def test_shows_a_killed_provider_and_its_return(self):
        provider = self.start_provider()
        _, stream = self.open("odd")
        stream.read_until(lambda: stream.value("flags/on") is not None)
        self.kill(provider)
        stream.read_until(lambda: stream.find("flags/on").get("stale") == 1)
        stream.read_until(lambda: "lost" in self.kinds(stream))
        self.start_provider()
        stream.read_until(lambda: stream.find("flags/on").get("stale") == 0)
        stream.read_until(lambda: "back" in self.kinds(stream))

    @staticmethod
    def kinds(stream):
        return [one["kind"] for one in stream.events]

    def test_shows_a_lost_hub(self):
        self.start_provider()
        _, stream = self.open("odd")
        stream.read_until(lambda: stream.value("flags/on") is not None)
        self.hub.fault("token-refuse", "2s")
        self.hub.fault("server-restart")
        stream.read_until(lambda: stream.hub["lost"] != "")
        stream.read_until(lambda: stream.hub["lost"] == "" and stream.find("flags/on")["stale"] == 0)

    def test_keeps_a_history_with_gaps(self):
        self.start_provider(FLOOD_PROVIDER, "20", "2")
        view, stream = self.open("flood")
        stream.read_until(lambda: (stream.value("numbers/1") or 0) > 10)
        number = next(key for key, one in stream.variables.items() if one["path"] == "numbers/1")
        points = json.loads(view.request(f"/api/history?v={number}").body)["series"][0][1:]
        values = [value for _, value, _ in points]
        self.assertEqual(values, sorted(values))
        self.assertGreater(len(values), 5)
        self.assertEqual({status for *_, status in points}, {0})

    def test_writes_only_if_that_is_allowed(self):
        self.start_provider()
        view, stream = self.open("odd")
        stream.read_until(lambda: stream.value("flags/on") is not None)
        self.assertFalse(stream.about["writes"])
        self.assertEqual(view.write("odd", "flags/on", "false").status, 403)

    def test_writes_and_reports_what_became_of_it(self):
        self.start_provider()
        view, stream = self.open("odd", "--allow-writes")
        stream.read_until(lambda: stream.value("flags/on") is not None)
        for path, value, outcome in (
                ("flags/on", "off", "confirmed"), ("numbers/large", "0x10", "confirmed"),
                ("times/span", "3min", "confirmed"), ("answers/refuses", "7", "refused"),
                ("answers/limits", "500", "refused"), ("answers/never", "7", "not_confirmed"),
                ("numbers/infinity", "7", "refused"), ("flags/on", "perhaps", "invalid"),
                ("numbers/none", "7", "invalid")):
            answer = json.loads(view.write("odd", path, value).body)
            self.assertEqual(answer["outcome"], outcome, f"{path}: {answer}")
        stream.read_until(lambda: len([one for one in stream.events if one["kind"] == "write"]) == 7)
        self.assertIn("flags/on  true -> false: confirmed, from 127.0.0.1", [
            one["text"] for one in stream.events if one["kind"] == "write"])

    def test_shows_a_recording(self):
        for name in ("odd.jsonl", "odd.csv"):
            provider = self.start_provider()
            recording = self.folder / name
            process = self.start("record", "odd", "-o", recording)
            self.wait_for(lambda: recording.exists() and b"flags/on" in recording.read_bytes(), "rows")
            self.kill(provider)
            self.wait_for(lambda: b"lost" in recording.read_bytes(), "the loss")
            self.interrupt(process)
            _, stream = self.open(recording)
            stream.read()
            self.assertEqual(stream.about["recording"]["file"], name)
            self.assertLess(stream.about["recording"]["from"], stream.about["recording"]["to"])
            self.assertEqual(stream.value("texts/plain"), "ä")
            self.assertEqual(stream.value("times/span"), "0.25s")
            self.assertIn("lost", self.kinds(stream))

    def test_names_the_row_that_is_none_of_a_recording(self):
        path = self.write_file("wrong.jsonl", '{"type": "recording"}\n')
        self.assertIn("wrong.jsonl:1:", self.expect(2, "view", path, "--port", "0").errors)
        path.write_text('{"type": "value"}\n', encoding="utf-8")
        self.assertIn("wrong.jsonl is no recording", self.expect(2, "view", path, "--port", "0").errors)


class Demonstrating(FollowingTest):
    def test_starts_a_hub_and_the_boiler(self):
        for name in [name for name in self.environment if name.startswith("CORVEL")]:
            del self.environment[name]
        view = View(self, "--demo")
        view.enter()
        stream = view.stream()
        self.addCleanup(stream.close)
        begin = time.monotonic()
        stream.read_until(lambda: stream.value("temperature_celsius") is not None)
        self.assertLess(time.monotonic() - begin, PATIENCE)
        self.assertEqual(self.interrupt(view.process).code, 0)
