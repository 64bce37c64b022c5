#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Three rules that can be seen in the text: no typedef; no using-declaration at the beginning of a
line whose name the file has nowhere else; and no two headers of the libraries that define a class of one
name. They have one namespace, and a program with such libraries as archives gets the functions of one of
the classes for both. clang-tidy has the first two rules, too, more exactly, and takes long for them,
because it looks at all that a file includes."""

import re

import tree

TYPEDEF = re.compile(r"^\s*typedef\b")
USING = re.compile(r"^using (?:\w+::)*(\w+);")
CLASS = re.compile(r"^(?:class|struct) (?:[A-Z_]+(?:\(.*\))? )?(\w+)(?: final)?(?: :| \{|$)")


def is_of_library(path):
    return path.suffix == ".hpp" and path.parts[0] in ("include", "src")


def findings():
    homes = {}
    for path in tree.files("*.hpp", "*.cpp"):
        text = path.read_text(encoding="utf-8")
        for number, line in tree.lines_of(path):
            if TYPEDEF.search(line):
                yield f"{path}:{number}: use using instead of typedef"
            name = USING.match(line)
            if name and len(re.findall(rf"\b{name[1]}\b", text)) == 1:
                yield f"{path}:{number}: {name[1]} is not used"
            defined = CLASS.match(line) if is_of_library(path) else None
            if defined and homes.setdefault(defined[1], path) != path:
                yield f"{path}:{number}: {homes[defined[1]]} defines {defined[1]}, too"


tree.conclude(list(findings()))
