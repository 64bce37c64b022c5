#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The public headers contain no name of a foreign library, except in their comments."""

import re

import tree

# A parameter may well be called nats_url; these are the libraries' own names.
FOREIGN = re.compile(r"\b(nats[A-Z]\w*|NATS_\w+|nats_\w+\(|CURL\w*|curl_\w+\(|flatbuffers)")
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)


def code_lines(path):
    """The numbered lines without comments; a removed comment keeps its line breaks."""
    code = COMMENT.sub(lambda comment: "\n" * comment[0].count("\n"),
                       path.read_text(encoding="utf-8"))
    return enumerate(code.splitlines(), 1)


tree.conclude([
    f"{path}:{number}: {name} belongs to a foreign library"
    for path in tree.files("include/**")
    for number, line in code_lines(path)
    for name in FOREIGN.findall(line)])
