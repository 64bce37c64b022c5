#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The examples in the documents compile. Every block fenced with ```cpp is one file. If its first
line is a comment with a file name (`// src/model/range.hpp`), later blocks of the same document can
include it. Fragments that cannot compile alone are fenced with ```c++."""

import functools
import pathlib
import re
import tempfile

import tree

BLOCK = re.compile(r"^```cpp\n(.*?)^```$", re.MULTILINE | re.DOTALL)
NAMED = re.compile(r"// ([\w./-]+\.[ch]pp)\n")
COMPILE = [
    "clang++-14", "-x", "c++", "-fsyntax-only", "-Wall", "-Wextra", "-Werror",
    "-Wno-pragma-once-outside-header", *tree.ALL_INCLUDES]
# Users compile the examples of the documents; only the contributors' page shows our own code.
STANDARD_OF = {"CONTRIBUTING.md": "-std=c++20"}


def fault(document, folder, number, code):
    command = [*COMPILE, STANDARD_OF.get(document.name, "-std=c++17"), f"-I{folder}/src", "-"]
    finding = tree.finding_of(command, input=code)
    return finding and f"{document}: block {number} does not compile:\n{finding}"


def jobs(document, folder):
    for number, code in enumerate(BLOCK.findall(document.read_text(encoding="utf-8")), 1):
        name = NAMED.match(code)
        if name:
            file = folder / name[1]
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(code, encoding="utf-8")
        yield functools.partial(fault, document, folder, number, code)


def findings():
    with tempfile.TemporaryDirectory() as scratch:
        waiting = []
        for index, document in enumerate(tree.files("*.md")):
            waiting += jobs(document, pathlib.Path(scratch, str(index)))
        return tree.findings_of(waiting)


tree.conclude(findings())
