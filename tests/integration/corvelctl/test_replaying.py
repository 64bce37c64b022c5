# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""replay: recordings as providers."""

import json
import time

from tool_run import FLOOD_PROVIDER, PATIENCE, FollowingTest

KILN = [{"path": "temperature", "id": 0, "data_type": "double", "access": "read-only"},
        {"path": "mode", "id": 1, "data_type": "string", "access": "read-write"}]


def at(seconds):
    return f"2026-01-02T03:04:{seconds:02}.000000000Z"


def value(path, held, seconds, **keys):
    kinds = {one["path"]: one["data_type"] for one in KILN}
    return {"type": "value", "provider": "kiln", "path": path, "data_type": kinds[path],
            "value": held, "quality": "good", "time": at(seconds), "freshness": "live", **keys}


def event(name, seconds):
    return {"type": "provider_event", "provider": "kiln", "event": name, "time": at(seconds)}


BEGINNING = [
    {"type": "recording", "time": at(10), "providers": [], "paths": "**"},
    {"type": "definition", "provider": "kiln", "time": at(10), "fingerprint": "0x" + "0" * 16,
     "variables": KILN},
    value("temperature", 1.5, 9), value("mode", "heating", 5, quality="uncertain"), event("here", 10)]


class Replaying(FollowingTest):
    def setUp(self):
        super().setUp()
        self.wait_for(lambda: self.expect(0, "providers").output == "", "an empty hub")

    def write_recording(self, *rows, name="kiln.jsonl"):
        return self.write_file(
            name, "".join(json.dumps({"v": 1, **row}) + "\n" for row in rows))

    def replay(self, *arguments):
        process = self.start("replay", *arguments, "-j")
        self.read_json_until(process, type="provider_state", state="ready")
        return process

    def watch(self, *arguments):
        """A watch that has shown what there is."""
        process = self.start("watch", "kiln", "-j", *arguments)
        self.read_json_until(process, type="provider_event", event="here")
        return process

    def test_provides_the_same_variables_and_values(self):
        file = self.write_recording(*BEGINNING, value("temperature", 2.5, 59))
        process = self.replay(file)
        shown = {one["path"]: one for one in self.expect(0, "read", "kiln", "-j").objects()}
        self.assertEqual((shown["temperature"]["value"], shown["temperature"]["quality"]),
                         (1.5, "good"))
        self.assertEqual((shown["mode"]["value"], shown["mode"]["quality"], shown["mode"]["access"]),
                         ("heating", "uncertain", "read-write"))
        self.assertGreater(shown["mode"]["time"], at(59))
        self.expect(9, "write", "kiln", "mode=standby")
        self.assertEqual(self.interrupt(process).code, 130)

    def test_keeps_the_recorded_times_if_wanted(self):
        file = self.write_recording(*BEGINNING, value("temperature", 2.5, 59))
        self.replay(file, "--original-times")
        shown, = self.expect(0, "read", "kiln", "mode", "-j").objects()
        self.assertEqual(shown["time"], at(5))

    def test_plays_changes_in_their_order_at_the_wanted_speed(self):
        file = self.write_recording(
            *BEGINNING, *(value("temperature", float(second), second) for second in range(20, 50)))
        process = self.replay(file, "--speed", "10x")
        rows = self.read_json_until(self.watch("temperature"), value=49.0)
        played = [(one["value"], one["time"]) for one in rows]
        self.assertEqual([one for one, _ in played], sorted(one for one, _ in played))
        self.assertGreater(len(played), 5)
        self.assertEqual(self.finish(process).code, 0)

    def test_shows_outages_as_bad_values_which_return(self):
        for loss in ([event("lost", 20)], [value("temperature", 1.5, 9, freshness="stale"),
                                           value("mode", "heating", 5, freshness="stale"),
                                           event("stale", 20)],
                     [{"type": "gap", "from": at(20), "time": at(30)}]):
            file = self.write_recording(
                *BEGINNING, *loss, value("temperature", 1.5, 9),
                value("mode", "heating", 5, quality="uncertain"), event("back", 30),
                value("temperature", 3.5, 40))
            watching = self.start("watch", "kiln", "--wait", "-j")  # before the first second passes
            process = self.replay(file, "--speed", "10x")
            rows = self.read_json_until(watching, value=3.5)
            for path, wanted in (("temperature", ["good", "bad", "good"]),
                                 ("mode", ["uncertain", "bad", "uncertain"])):
                qualities = [one["quality"] for one in rows if one.get("path") == path]
                changes = [one for index, one in enumerate(qualities)
                           if index == 0 or qualities[index - 1] != one]
                self.assertEqual(changes, wanted, loss)
            self.assertEqual(self.finish(process).code, 0)
            self.wait_for(lambda: self.expect(0, "providers").output == "", "an empty hub")

    def test_plays_what_record_has_written_in_both_formats_and_several_files(self):
        self.start_provider(FLOOD_PROVIDER, "5", "100")
        for name in ("flood.jsonl", "flood.csv"):
            file = self.folder / name
            self.expect(0, "record", "flood", "-o", file, "--for", "2s", "--max-size", "50k")
            self.assertTrue((self.folder / (name + ".1")).exists())
            whole = self.expect(0, "replay", file, "--as", "copy", "--speed", "100x").errors
            last = self.folder / "last"
            file.rename(last)
            part = self.expect(0, "replay", last, "--as", "copy", "--speed", "100x").errors
            counts = [int(text.split("replayed ")[1].split()[0]) for text in (whole, part)]
            self.assertGreater(counts[0], counts[1])

    def test_begins_again_if_wanted(self):
        file = self.write_recording(*BEGINNING, value("temperature", 2.5, 11))
        process = self.replay(file, "--loop", "--speed", "5x")
        watch = self.watch("temperature")
        for held in (2.5, 1.5, 2.5, 1.5):
            self.read_json_until(watch, type="value", value=held)
        self.assertEqual(self.interrupt(process).code, 130)

    def test_begins_a_recording_of_one_moment_again_ten_times_a_second(self):
        began = time.monotonic()
        process = self.replay(self.write_recording(*BEGINNING), "--loop")
        watch = self.watch("temperature")
        shown = [self.read_json_until(watch, type="value", value=1.5)[-1]["time"] for _ in range(5)]
        self.assertEqual(len(set(shown)), 5)
        errors = self.interrupt(process).errors
        values = int(errors.split("replayed ")[1].split()[0])
        self.assertLessEqual(values, 2 * (10 * (time.monotonic() - began) + 1))

    def test_shortens_the_pause_of_a_corrected_clock(self):
        file = self.write_recording(
            *BEGINNING, value("temperature", 2.5, 11),
            *(value("temperature", float(second), 0, time=at(second).replace("2026", "2056")) for second in (10, 40)),
            event("lost", 13))
        replayed = self.expect(0, "replay", file, "--speed", "1000x")
        self.assertIn("nothing is due from 2026-01-02 03:04:11.000Z to 2056-01-02 03:04:10.000Z; "
                      "only 1 h of that is played\n", replayed.errors)
        self.assertEqual(replayed.errors.count("nothing is due"), 1, replayed.errors)
        self.assertIn("replayed 5 values", replayed.errors)

    def test_needs_no_reader_of_standard_output(self):
        file = self.write_recording(*BEGINNING, value("temperature", 2.5, 12))
        process = self.start("replay", file)
        process.stdout.close()
        self.assertEqual(process.wait(PATIENCE), 0)
        self.assertIn("replayed 3 values", process.stderr.read())

    def test_survives_a_restart_of_the_hub(self):
        file = self.write_recording(
            *BEGINNING, *(value("temperature", float(second), second) for second in range(11, 60)))
        process = self.replay(file, "--speed", "5x")
        self.hub.fault("token-refuse", "2s")
        self.hub.fault("server-restart")
        self.read_json_until(process, state="degraded")
        self.read_json_until(process, state="ready")
        self.read_json_until(self.start("watch", "kiln", "-j"), value=59.0)
        self.assertEqual(self.finish(process).code, 0)

    def test_refuses_what_cannot_be_played(self):
        file = self.write_recording(*BEGINNING)
        self.expect(2, "replay", self.folder / "nowhere")
        self.assertIn("is no recording",
                      self.expect(2, "replay", self.write_file("text", "text\n")).errors)
        self.assertIn('did you mean "kiln"', self.expect(3, "replay", file, "kilns").errors)
        self.expect(2, "replay", file, "--speed", "fast")
        broken = self.write_recording(*BEGINNING, {"type": "value"}, name="broken.jsonl")
        self.assertIn("broken.jsonl:6: this is no row",
                      self.expect(2, "replay", broken, "--speed", "100x").errors)
        empty = self.write_recording(BEGINNING[0], name="empty.jsonl")
        self.assertIn("has no values", self.expect(3, "replay", empty).errors)
        two = self.write_recording(*BEGINNING, {**BEGINNING[1], "provider": "oven"}, name="two.jsonl")
        self.assertIn("the recording has 2", self.expect(2, "replay", two, "--as", "x").errors)
        self.expect(0, "replay", two, "kiln", "--as", "x", "--speed", "100x")
        self.replay(self.write_recording(*BEGINNING, event("lost", 59), name="long.jsonl"))
        self.assertIn("--as kiln", self.expect(7, "replay", file).errors)
