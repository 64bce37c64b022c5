# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""plot: pictures of recordings and of a provider."""

import json

from tool_run import OddProviderTest

HOSTILE = "'; system 'touch pwned'; set title '`touch pwned`"


class Plot(OddProviderTest):
    def test_draws_a_recording(self):
        recording, picture = self.folder / "odd.jsonl", self.folder / "odd.png"
        self.expect(0, "record", "odd", "-o", recording, "--for", "1s")
        shown, = self.expect(0, "plot", recording, "-o", picture, "-j").objects()
        self.assertEqual(shown["file"], str(picture))
        self.assertEqual(picture.read_bytes()[:8], b"\x89PNG\r\n\x1a\n")

    def test_draws_a_provider(self):
        picture = self.folder / "odd.svg"
        self.expect(0, "plot", "odd", "flags/on", "times/span", "--for", "500ms", "-o", picture)
        self.assertIn("odd  flags/on", picture.read_text(encoding="utf-8"))

    def test_never_runs_a_name(self):
        row = {"v": 1, "type": "value", "provider": HOSTILE, "path": HOSTILE, "data_type": "double",
               "value": 1.5, "quality": "good", "freshness": "live",
               "time": "2026-11-22T08:08:03.813888373Z"}
        recording = self.write_file("hostile.jsonl", json.dumps(row) + "\n")
        self.expect(0, "plot", recording, "-o", self.folder / "x.png", "--utc")
        self.assertEqual(list(self.folder.glob("pwned")), [])

    def test_names_what_is_wrong(self):
        self.assertIn(".png or .svg", self.expect(2, "plot", "odd", "-o", "x.jpg").errors)
        self.expect(3, "plot", "old", "-o", "x.png")
