# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""record: files that can be read whatever has happened while they were written."""

import csv
import resource
import signal

from tool_run import FLOOD_PROVIDER, PATIENCE, FollowingTest, parse_objects

ODD_VARIABLES = 11


class Recording(FollowingTest):
    def setUp(self):
        super().setUp()
        self.file = self.folder / "odd.jsonl"

    def record(self, *arguments):
        return self.start("record", *arguments, "-o", self.file)

    def objects(self, path=None):
        path = path or self.file
        text = path.read_text(encoding="utf-8") if path.exists() else ""
        return parse_objects(text[:text.rfind("\n") + 1])

    def wait_for_row(self, **wanted):
        def holds():
            return any(all(one.get(key) == value for key, value in wanted.items())
                       for one in self.objects())
        self.wait_for(holds, str(wanted))

    def events(self):
        return [one["event"] for one in self.objects() if one["type"] == "provider_event"]

    def test_begins_with_a_header_and_the_definition(self):
        self.start_provider()
        result = self.expect(0, "record", "odd", "-o", self.file, "--for", "1s")
        self.assertIn(f"recorded {ODD_VARIABLES} values of 1 provider", result.errors)
        self.assertEqual(result.output, "")
        rows = self.objects()
        self.assertEqual((rows[0]["type"], rows[0]["providers"], rows[0]["paths"]),
                         ("recording", ["odd"], "**"))
        shown, = self.expect(0, "browse", "odd", "--fingerprint", "-j").objects()
        self.assertEqual((rows[1]["type"], rows[1]["fingerprint"]),
                         ("definition", shown["fingerprint"]))
        browsed = self.expect(0, "browse", "odd", "-j").objects()
        self.assertEqual(
            sorted((one["path"], one["id"], one["data_type"], one["access"])
                   for one in rows[1]["variables"]),
            sorted((one["path"], one["id"], one["data_type"], one["access"]) for one in browsed))
        self.assertEqual([one["type"] for one in rows[2:]],
                         ["value"] * ODD_VARIABLES + ["provider_event"])

    def test_needs_no_reader_of_standard_output(self):
        self.start_provider()
        process = self.record("odd", "--for", "2s")
        process.stdout.close()
        self.assertEqual(process.wait(PATIENCE), 0)
        self.assertIn(f"recorded {ODD_VARIABLES} values", process.stderr.read())
        self.assertEqual([one["type"] for one in self.objects()],
                         ["recording", "definition"] + ["value"] * ODD_VARIABLES + ["provider_event"])

    def test_is_written_every_second(self):
        self.start_provider()
        process = self.record("odd")
        self.wait_for_row(event="here")
        self.expect(0, "write", "odd", "texts/plain=new")
        self.wait_for_row(path="texts/plain", value="new")
        self.assertEqual(self.interrupt(process).code, 130)

    def test_has_rows_for_losses_and_returns(self):
        provider = self.start_provider()
        process = self.record("odd")
        self.wait_for_row(event="here")
        self.kill(provider)
        self.wait_for_row(event="lost")
        self.start_provider()
        self.wait_for_row(event="back")
        self.hub.fault("server-restart")
        # Each registration of a provider has a fingerprint of its own, and so a row.
        self.wait_for(lambda: [one["type"] for one in self.objects()].count("definition") == 3
                      and self.events()[-1] == "back", "the provider under its third fingerprint")
        self.interrupt(process)
        events = self.events()
        self.assertEqual(events[:3], ["here", "lost", "back"])
        # The loss of the link may show before or instead of what the registry says of the provider.
        self.assertLessEqual(set(events[3::2]), {"lost", "stale"})
        self.assertEqual(set(events[4::2]), {"back"})
        rows = self.objects()
        stale = [one for one in rows if one.get("freshness") == "stale"]
        self.assertGreaterEqual(len(stale), 2 * ODD_VARIABLES)

    def test_appends_after_a_restart_also_behind_half_a_row(self):
        self.start_provider()
        process = self.record("odd")
        self.wait_for_row(event="here")
        process.kill()
        self.finish(process)
        whole = self.file.read_bytes()
        self.file.write_bytes(whole + b'{"v":1,"type":"val')
        self.expect(0, "record", "odd", "-o", self.file, "--for", "1s")
        self.assertTrue(self.file.read_bytes().startswith(whole))
        rows = self.objects()
        types = [one["type"] for one in rows]
        self.assertIn("gap", types)
        gap = types.index("gap")
        self.assertEqual(types[gap:gap + 3], ["gap", "definition", "value"])
        self.assertLess(rows[gap]["from"], rows[gap]["time"])

    def test_is_refused_for_another_file(self):
        self.start_provider()
        self.file.write_text("{}\n", encoding="utf-8")
        self.assertIn("no recording in this format",
                      self.expect(2, "record", "odd", "-o", self.file).errors)
        self.assertEqual(self.file.read_text(encoding="utf-8"), "{}\n")
        self.expect(1, "record", "odd", "-o", self.folder / "nowhere/file")
        self.expect(2, "record", "odd")

    def test_is_refused_for_standard_output(self):
        self.assertIn("for the same rows on standard output: corvelctl watch --json",
                      self.expect(2, "record", "-o", "-").errors)

    def test_is_refused_while_another_records(self):
        self.start_provider()
        process = self.record("odd")
        self.wait_for_row(event="here")
        self.assertIn("another program records",
                      self.expect(1, "record", "odd", "-o", self.file).errors)
        self.interrupt(process)

    def test_writes_csv(self):
        self.start_provider()
        path = self.folder / "odd.csv"
        self.expect(0, "record", "odd", "-o", path, "--for", "1s")
        self.expect(0, "record", "odd", "-o", path, "--for", "1s")
        with open(path, encoding="utf-8", errors="surrogateescape", newline="") as text:
            rows = list(csv.DictReader(text))
        values = {row["path"]: row for row in rows if row["event"] == "value"}
        self.assertEqual(len(values), ODD_VARIABLES)
        self.assertEqual(values["numbers/nan"]["value"], "nan")
        self.assertEqual(values["numbers/large"]["value"], "9007199254740993")
        self.assertEqual(values["times/span"]["value"], "0.25s")
        self.assertEqual(values["texts/plain"]["value"], "\u00e4")
        self.assertEqual([row["event"] for row in rows if row["event"] != "value"],
                         ["recording", "definition", "provider_here",
                          "gap", "definition", "provider_here"])

    def test_thins_out_if_wanted(self):
        self.start_provider(FLOOD_PROVIDER, "50")
        self.expect(0, "record", "flood", "numbers/1", "-o", self.file, "--every", "500ms", "--for",
                    "2s")
        values = [one["value"] for one in self.objects() if one["type"] == "value"]
        self.assertTrue(3 <= len(values) <= 7, values)
        self.assertEqual(values, sorted(values))

    def test_begins_another_file_when_one_is_full(self):
        self.start_provider(FLOOD_PROVIDER, "20", "100")
        process = self.record("flood", "--max-size", "100k")
        third = self.folder / "odd.jsonl.3"
        self.wait_for(third.exists, "three full files")
        process.send_signal(signal.SIGINT)
        self.finish(process)
        for number in (1, 2, 3):
            path = self.folder / f"odd.jsonl.{number}"
            self.assertLessEqual(path.stat().st_size, 100_000)
            rows = self.objects(path)
            self.assertEqual([one["type"] for one in rows[:3]], ["recording", "definition", "value"])
            paths = {one["path"] for one in rows if one["type"] == "value"}
            self.assertEqual(len(paths), 100)

    def test_keeps_whole_rows_when_the_disk_is_full(self):
        self.start_provider(FLOOD_PROVIDER, "50")
        limit = 500_000

        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))

        process = self.start("record", "flood", "-o", self.file, restore_signals=False,
                             preexec_fn=limit_files)
        result = self.finish(process)
        self.assertEqual(result.code, 1)
        rows = self.objects()
        self.assertIn(f"; kept {len(rows)} rows of this run, the last one whole", result.errors)
        self.assertTrue(self.file.read_text(encoding="utf-8").endswith("}\n"))
        self.assertIn("No space left on device",
                      self.expect(1, "record", "flood", "-o", "/dev/full").errors)

    def test_records_a_million_values(self):
        self.start_provider(FLOOD_PROVIDER, "100")
        process = self.record("flood")
        self.wait_for(lambda: self.file.exists() and self.file.stat().st_size > 190_000_000,
                      "a million rows")
        process.send_signal(signal.SIGINT)
        result = self.finish(process)
        with open(self.file, encoding="utf-8") as rows:
            counts = {}
            for row in rows:
                kind = row[15:row.index('"', 15)]
                counts[kind] = counts.get(kind, 0) + 1
        self.assertGreater(counts["value"], 900_000)
        self.assertIn(f"recorded {counts['value']} values", result.errors)
        self.assertEqual(" dropped, because" in result.errors, "dropped" in counts)
