# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Definitions of files and of live providers: checked, told apart, compared."""

import json
import pathlib

import jsonschema

from tool_run import HubTest, ToolTest

DOCUMENTS = pathlib.Path(__file__).resolve().parents[3] / "docs"
FILE_SCHEMA = json.loads((DOCUMENTS / "corvelctl-definition.schema.json").read_text("utf-8"))
PUMP = {"variables": [
    {"path": "pump/speed", "data_type": "double", "value": 1.5},
    {"path": "pump/running", "data_type": "bool"},
    {"path": "pump/mode", "data_type": "string", "access": "read-write", "value": "idle"}]}


class Files(ToolTest):
    def write_json(self, name, content):
        return self.write_file(name, json.dumps(content))

    def test_checks_a_file(self):
        jsonschema.validate(PUMP, FILE_SCHEMA)
        pump = self.write_json("pump.json", PUMP)
        self.assertEqual(self.expect(0, "def", "check", pump).output, f"{pump}: good, 3 variables\n")
        shown, = self.expect(0, "def", "check", pump, "-j").objects()
        self.assertEqual((shown["source"], shown["variables"]), (str(pump), 3))

    def test_names_what_is_wrong_with_a_file(self):
        for code, change, text in (
                (2, {"data_type": "int"}, 'variable 1: "data_type" is "int", but must be one of bool '
                 'double int64 string timestamp duration; did you mean "int64"?'),
                (2, {"access": "write"}, '"access" is "write", but must be one of read-only'),
                (2, {"value": "fast"}, '"fast" is no double'),
                (2, {"value": [1]}, "[1] is no double"),
                (2, {"value_text": 1}, '"value_base64" is of a wrong type'),
                (2, {"path": 7}, '"path" is missing, or no string'),
                (7, {"path": "pump speed"}, "variable 1: its path contains a space"),
                (7, {"path": "pump/mode"}, "variable 3: its path pump/mode occurs twice"),
                (7, {"path": ""}, "variable 1: its path is empty")):
            broken = json.loads(json.dumps(PUMP))
            broken["variables"][0].update(change)
            file = self.write_json("broken.json", broken)
            self.assertIn(text, self.expect(code, "def", "check", file).errors)
        for text in ("", "no JSON", "[]", '{"variables": {}}', '{"variables": []}', '{"x": 1}'):
            self.expect(2, "def", "check", self.write_file("other.json", text))
        self.expect(2, "def", "check", self.folder / "nowhere.json")
        self.assertIn(f"cannot read {self.folder}: Is a directory",
                      self.expect(2, "def", "check", self.folder).errors)
        self.assertIn("write ./pump", self.expect(2, "def", "check", "pump").errors)

    def test_tells_sets_apart_by_a_hash(self):
        turned = {"variables": PUMP["variables"][::-1]}
        other = {"variables": PUMP["variables"][1:]}
        first, second, third = self.expect(
            0, "def", "fingerprint", self.write_json("a.json", PUMP),
            self.write_json("b.json", turned), self.write_json("c.json", other), "-j").objects()
        self.assertEqual(first["content_hash"], second["content_hash"])
        self.assertNotEqual(first["content_hash"], third["content_hash"])

    def test_shows_differences(self):
        other = json.loads(json.dumps(PUMP))
        other["variables"][0]["data_type"] = "int64"
        other["variables"][0]["value"] = 1
        other["variables"][1]["path"] = "pump/runs"
        del other["variables"][2]["access"]
        files = self.write_json("a.json", PUMP), self.write_json("b.json", other)
        self.assertEqual(
            self.expect(8, "def", "diff", *files).output,
            "~ pump/mode  string read-write -> string read-only\n"
            "- pump/running  bool read-only\n"
            "+ pump/runs  bool read-only\n"
            "~ pump/speed  double read-only -> int64 read-only\n")
        shown = self.expect(8, "def", "diff", *files, "-j").objects()
        self.assertEqual([one["change"] for one in shown],
                         ["access", "removed", "added", "data_type"])
        self.assertEqual(self.expect(0, "def", "diff", files[0], files[0]).output, "")


class Providers(HubTest):
    def setUp(self):
        super().setUp()
        self.start_provider()
        self.saved = self.write_file(
            "odd.jsonl", self.expect(0, "browse", "odd", "-j").output)

    def test_are_compared_with_what_was_saved(self):
        self.expect(0, "def", "diff", self.saved, "odd")
        file, live = self.expect(0, "def", "fingerprint", self.saved, "odd", "-j").objects()
        self.assertEqual(file["content_hash"], live["content_hash"])
        self.assertTrue(live["fingerprint"].startswith(live["content_hash"]))

    def test_are_compared_with_each_other(self):
        self.start_provider("even", 1)
        self.assertEqual(self.expect(8, "def", "diff", "odd", "even").output,
                         "+ further/0  int64 read-only\n")
        self.expect(3, "def", "diff", "odd", "evne")

    def test_may_offer_more_than_is_asked_for(self):
        lines = self.saved.read_text("utf-8").splitlines()
        needed = self.write_file("needed.jsonl", "\n".join(lines[:2]).replace("double", "int64", 1))
        self.assertIn("answers/limits  int64 read-write -> double read-write",
                      self.expect(8, "def", "check", needed, "odd").output)
        needed = self.write_file("needed.jsonl", "\n".join(lines[:2]).replace("read-write", "read-only"))
        self.expect(0, "def", "check", needed, "odd")
        needed = self.write_file("needed.json", json.dumps({"variables": [
            {"path": "texts/bytes", "data_type": "string", "access": "read-write"}]}))
        self.assertEqual(self.expect(8, "def", "check", needed, "odd").output,
                         "~ texts/bytes  string read-write -> string read-only\n")

    def test_warns_of_an_equal_fingerprint(self):
        self.start_fixed_provider("left", 7, "a=double")
        self.start_fixed_provider("right", 7, "b=double")
        self.assertIn("the fingerprints are equal although the variables differ",
                      self.expect(8, "def", "diff", "left", "right").errors)
