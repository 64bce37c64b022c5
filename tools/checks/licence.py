#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Every file that can contain a comment begins with the two lines of its licence, in any comment
style. A line that names an interpreter, a completed command or a document type may precede them."""

import re

import tree

EXEMPT = re.compile(
    r"(^|/)LICENSE$"
    r"|\.json$"  # has no comments
    r"|\.abi$"  # written by abidw, and read back only with the root element first
    r"|^tests/golden/|^fuzz/corpus/"  # compared byte for byte
    r"|^debian/(changelog|copyright|source/format)$"  # formats of Debian's own
)
LICENCE = [
    re.compile(r"\W*SPDX-FileCopyrightText: 2026 Arvenhold\W*$"),
    re.compile(r"\W*SPDX-License-Identifier: Apache-2\.0\W*$"),
]


def begins_with_licence(path):
    lines = [line for _, line in tree.lines_of(path)[:4]]
    if lines and re.match(r"#!|#compdef |<!--$|<!doctype html>$", lines[0]):
        lines = lines[1:]
    return len(lines) >= 2 and all(
        pattern.match(line) for pattern, line in zip(LICENCE, lines))


tree.conclude([
    f"{path}:1: does not begin with the two lines of the licence"
    for path in tree.files()
    if not EXEMPT.search(str(path)) and tree.lines_of(path) and not begins_with_licence(path)])
