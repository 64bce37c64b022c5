#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The tree contains no unfinished work, and no reference to anything that its reader cannot
open."""

import re

import tree

UNWANTED = [
    (re.compile(r"\b(TODO|FIXME|XXX|HACK)\b"), "unfinished work belongs in an issue"),
    (re.compile(r"\b(issue|ticket|pull request) #?\d|(^|\s)#\d+\b", re.IGNORECASE),
     "numbers of issues mean nothing in a file"),
    (re.compile(r"\bpart \d\.\d|\bspec(ification|\.md)?\b", re.IGNORECASE),
     "refers to a document that is not in the tree"),
    (re.compile(r"\b(deb|registry|security|snapshot)\.[a-z0-9-]+\.(org|net|com|io)\b"),
     "names a package registry; the machine's own configuration does that"),
]
EXEMPT = {"tools/checks/words.py", "LICENSE"}  # this list itself, and a text that is not ours

tree.conclude([
    f"{path}:{number}: {reason}: {line.strip()}"
    for path in tree.files() if str(path) not in EXEMPT
    for number, line in tree.lines_of(path)
    for pattern, reason in UNWANTED if pattern.search(line)])
