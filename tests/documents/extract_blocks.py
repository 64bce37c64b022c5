#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Writes each named C++ block of a document to a file of that name in a folder, so that the examples
can be built and run. A block is named by its first line, as in `// test/fan_control_test.cpp`. Files
that have not changed are left alone, so that they are not compiled again."""

import pathlib
import re
import sys

BLOCK = re.compile(r"^```cpp\n(// ([\w./-]+\.[ch]pp)\n.*?)^```$", re.MULTILINE | re.DOTALL)


def main(document, folder):
    for code, name in BLOCK.findall(pathlib.Path(document).read_text(encoding="utf-8")):
        file = pathlib.Path(folder, name)
        file.parent.mkdir(parents=True, exist_ok=True)
        if not file.is_file() or file.read_text(encoding="utf-8") != code:
            file.write_text(code, encoding="utf-8")


main(*sys.argv[1:])
