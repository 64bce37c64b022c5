# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""plot: pictures of recordings and of a provider."""

import csv
import io
import json
import os
import pty
import re
import signal
import xml.etree.ElementTree

from tool_run import PATIENCE, OddProviderTest

SVG = "{http://www.w3.org/2000/svg}"
PNG = b"\x89PNG\r\n\x1a\n"
ALIKE = str.maketrans({"'": "\u2019", "`": "\u02cb"})  # what a title shows instead


def at(seconds):
    return f"2026-01-02T03:04:{seconds:02}.000000000Z"


def value(seconds, held, path="a", freshness="live", provider="p", quality="good"):
    return {"type": "value", "provider": provider, "path": path, "data_type": "double",
            "value": held, "quality": quality, "freshness": freshness, "time": at(seconds)}


BEGINNING = [{"type": "recording", "time": at(0), "providers": [], "paths": "**"},
             {"type": "definition", "time": at(0), "provider": "p", "fingerprint": "0x1", "variables": []}]


class Plot(OddProviderTest):
    def write_json(self, *rows):
        return self.write_file("rows.jsonl", "".join(
            json.dumps({"v": 1, **one}) + "\n" for one in (*BEGINNING, *rows)))

    def write_csv(self, *rows):
        text = io.StringIO()
        writer = csv.writer(text, lineterminator="\n")
        writer.writerow("time,event,provider,path,data_type,value,quality,text".split(","))
        for one in (*BEGINNING, *rows):
            event = "stale" if one.get("freshness") == "stale" else one["type"]
            keys = (one.get(key, "") for key in ("provider", "path", "data_type", "value", "quality"))
            writer.writerow([one["time"], event, *keys, f"from {one['from']}" if "from" in one else ""])
        return self.write_file("rows.csv", text.getvalue())

    def draw(self, *arguments):
        """The picture as XML."""
        picture = self.folder / "drawn.svg"
        self.expect(0, "plot", *arguments, "-o", picture)
        return xml.etree.ElementTree.parse(picture).getroot()

    def find_texts(self, picture):
        return {"".join(one.itertext()) for one in picture.iter(SVG + "text")}

    def find_lines(self, picture):
        """From where to where each line of the only variable goes."""
        plotted = next(one for one in picture.iter(SVG + "g") if one.get("id") == "gnuplot_plot_1a")
        strokes = "".join(one.get("d") for one in plotted.iter(SVG + "path")).split("M")[2:]  # not the legend's
        places = [[float(one) for one in re.findall(r"([\d.]+),", stroke)] for stroke in strokes]
        return [(one[0], one[-1]) for one in places]

    def test_draws_a_recording_in_both_formats(self):
        for name in ("odd.jsonl", "odd.csv"):
            recording, picture = self.folder / name, self.folder / "odd.png"
            self.expect(0, "record", "odd", "-o", recording, "--for", "1s")
            shown, = self.expect(0, "plot", recording, "-o", picture, "-j").objects()
            self.assertEqual(shown["file"], str(picture))
            self.assertEqual(picture.read_bytes()[:8], PNG)
            picture.unlink()

    def test_draws_both_formats_alike(self):
        rows = [value(1, 1.5), value(5, 2.5, quality="uncertain"), value(5, 2.5, freshness="stale"),
                value(9, 3.5), {"type": "gap", "from": at(12), "time": at(20)}, value(21, 4.5)]
        pictures = [xml.etree.ElementTree.tostring(self.draw(write(*rows)))
                    for write in (self.write_json, self.write_csv)]
        self.assertEqual(*pictures)

    def test_draws_a_provider(self):
        texts = self.find_texts(self.draw("odd", "flags/on", "times/span", "--for", "500ms"))
        self.assertLessEqual({"odd  flags/on", "odd  times/span", "true", "local time"}, texts)

    def test_draws_what_there_is_after_ctrl_c(self):
        picture = self.folder / "odd.png"
        ours, terminal = pty.openpty()
        process = self.start("plot", "odd", "flags/on", "--for", "1h", "-o", picture, stderr=terminal)
        os.close(terminal)
        with open(ours, "rb", buffering=0) as shown:
            text = b""
            while b"1 value," not in text:
                text += shown.read(1000)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(PATIENCE), 130)
        self.assertEqual(picture.read_bytes()[:8], PNG)

    def test_draws_no_line_while_nothing_is_known(self):
        end = {"type": "provider_event", "provider": "p", "event": "lost", "time": at(30)}
        for unknown in ([{"type": "gap", "from": at(10), "time": at(20)}],
                        [{**end, "event": "back", "time": at(10)}, value(5, 2.5, freshness="stale")],
                        [value(10, "nan")]):
            lines = self.find_lines(self.draw(
                self.write_json(value(1, 1.5), value(5, 2.5), *unknown, value(25, 3.5), end)))
            self.assertEqual(len(lines), 2, f"{unknown}: {lines}")
            (begin, lost), (again, last) = lines
            second = (last - begin) / 29
            self.assertAlmostEqual((lost - begin) / second, 9, 1)
            self.assertAlmostEqual((again - begin) / second, 24, 1)
        self.assertEqual(len(self.find_lines(self.draw(self.write_json(value(1, 1.5), value(25, 2.5), end)))), 1)

    def test_never_runs_a_name(self):
        """Each name is a command in one of the ways that gnuplot and shells know."""
        ran = self.folder / "ran"
        names = [text.replace("RUN", f"touch {ran}") for text in (
            "'; system 'RUN'; set title '", "`RUN`", "'`RUN`'", "\"`RUN`\"", "\"; system \"RUN\"; \"",
            "$(RUN)", "a'\nsystem 'RUN'\n'", "END\nsystem 'RUN'", "! RUN", "\\", "\\'; system 'RUN' #",
            "@RUN {/Symbol a} x^2 y_1 ~ & <b>", "grün 温度", "a\rsystem 'RUN'")]
        for index in range(0, len(names), 10):
            shown = names[index:index + 10]
            rows = [value(1, 1.5, path=name, provider=name) for name in shown]
            texts = self.find_texts(self.draw(self.write_json(*rows), "--utc"))
            self.assertFalse(ran.exists())
            for name in shown:
                readable = name.translate(ALIKE).replace("\n", "\\n").replace("\r", "\\x0d")
                self.assertIn(f"{readable}  {readable}", texts)
            self.expect(0, "plot", self.folder / "rows.jsonl", "-o", self.folder / "x.png")
            self.assertFalse(ran.exists())

    def test_names_what_is_wrong(self):
        self.assertIn(".png or .svg", self.expect(2, "plot", "odd", "-o", "x.jpg").errors)
        self.expect(3, "plot", "old", "-o", "x.png")
        self.assertIn("No such file", self.expect(2, "plot", "nowhere.csv", "-o", "x.png").errors)
        text = self.write_file("notes.csv", "a,b\n")
        self.assertIn("is no recording", self.expect(2, "plot", text, "-o", "x.png").errors)
        recording = self.write_json(value(1, "nan"))
        self.assertIn("no numbers", self.expect(3, "plot", recording, "-o", "x.png").errors)

    def test_names_each_path_that_nothing_has(self):
        picture = ("-o", self.folder / "x.png")
        shown = self.expect(3, "plot", "odd", "flags/on", "times/spam", "--for", "1h", *picture)
        self.assertIn('provider "odd" has no path "times/spam"; did you mean "times/span"?', shown.errors)
        recording = self.write_json(value(1, 1.5, path="level"), value(2, 1.5, path="depth"))
        for wanted, text in (("levol", 'has no path "levol"; did you mean "level"?'),
                             ("x/*", 'has no path that fits "x/*"')):
            self.assertIn(f"{recording} {text}", self.expect(3, "plot", recording, "depth", wanted, *picture).errors)
        self.expect(0, "plot", recording, "dep*", "level", *picture)

    def test_says_that_gnuplot_is_missing(self):
        self.environment["PATH"] = str(self.folder)
        shown = self.expect(1, "plot", self.write_json(value(1, 1.5)), "-o", self.folder / "x.png")
        self.assertIn("gnuplot-nox", shown.errors)
        self.assertFalse((self.folder / "x.png").exists())
