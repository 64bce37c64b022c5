#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Two rules that can be seen in the text: no typedef, and no using-declaration at the beginning of a
line whose name the file has nowhere else. clang-tidy has them too, more exactly, and takes long for
them, because it looks at all that a file includes."""

import re

import tree

TYPEDEF = re.compile(r"^\s*typedef\b")
USING = re.compile(r"^using (?:\w+::)*(\w+);")


def findings():
    for path in tree.files("*.hpp", "*.cpp"):
        text = path.read_text(encoding="utf-8")
        for number, line in tree.lines_of(path):
            if TYPEDEF.search(line):
                yield f"{path}:{number}: use using instead of typedef"
            name = USING.match(line)
            if name and len(re.findall(rf"\b{name[1]}\b", text)) == 1:
                yield f"{path}:{number}: {name[1]} is not used"


tree.conclude(list(findings()))
