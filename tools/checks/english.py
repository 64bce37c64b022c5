#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Comments, documents and help texts use the field's words, which a reader can search for. Finds
phrases to avoid, wrapped ones too."""

import bisect
import re

import tree

# Phrases to avoid, with their replacements. No pattern has an ordinary use here.
PHRASES = [
    (r"anew", "again"),
    (r"be it", "even if"),
    (r"blanks?(?! lines?)", "space"),
    (r"given? up the synchronisation", "called std::ios::sync_with_stdio(false)"),
    (r"growing pauses", "exponential back-off"),
    (r"hence", "so"),
    (r"in vain", "without success; say after which time limit"),
    (r"(is|are|was|were) told", "is notified, receives, reads"),
    (r"lets? expect", "a sentence whose subject expects"),
    (r"mend(s|ed|ing)?", "fix, repair"),
    (r"mute", "hangs, does not answer"),
    (r"no token (was|is) had", "no token could be obtained"),
    (r"on (the|its|their) way", "in flight"),
    (r"one (is|was) wanted", "is intentional"),
    (r"one more thing", "nothing: begin with the fact"),
    (r"pass(es)? by itself", "resolves by itself"),
    (r"put to work", "in production"),
    (r"(stand|stood)(s|ing)? still", "hangs, is frozen"),
    (r"tells", "returns, prints, reports, notifies, indicates; silently for nobody tells"),
    (r"tell (how|of|that|what|when|whether|which)", "return, print, report, notify, indicate"),
    (r"time limit for the event", "timeout"),
    (r"truth values?", "Boolean, bool"),
    (r"under way", "in flight; in progress"),
    (r"what passes is lost", "drops packets"),
    (r"whoever", "the one who is meant: operators, callers, applications"),
    (r"with (a|an|the) \w+ in front", "preceded by"),
    (r"without a word", "silently, without notice"),
]
# A text that is not ours, outputs that are compared byte by byte, and this list.
EXEMPT = ("LICENSE", "fuzz/corpus/", "tests/golden/", "tools/checks/english.py")
MARKER = re.compile(r"\s*(//[/!]?<?|#+|\*|>)?\s*")


def unwrapped(path):
    """The text with its lines joined, without the marks of comments; only an empty line ends a
    line. And where in it each line begins."""
    text, beginnings = "", []
    for _, line in tree.lines_of(path):
        content = line[MARKER.match(line).end():].rstrip()
        beginnings.append(len(text))
        text += f"{content} " if content else "\n"
    return text, beginnings


def findings(path):
    """The findings in a file, in the order of its lines."""
    text, beginnings = unwrapped(path)
    found = []
    for phrase, instead in PHRASES:
        for match in re.finditer(rf"\b(?:{phrase})\b", text, re.IGNORECASE):
            number = bisect.bisect(beginnings, match.start())
            found.append((number, f"{path}:{number}: {match[0].lower()}: use {instead}"))
    return [finding for _, finding in sorted(found)]


tree.conclude([
    finding
    for path in tree.files() if not str(path).startswith(EXEMPT)
    for finding in findings(path)])
