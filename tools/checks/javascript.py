#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The scripts of the page that the command line tool serves are modules without errors of syntax, and
their functions fit on a screen."""

import re

import tree

MOST_LINES = 50  # of a function, as in C++
BEGINNING = re.compile(r"^( *)(?:export )?(?:async )?(?:function \w+|(?!if|for|while|switch|class)\w+)\(.*\{$")


def syntax_errors(path):
    with path.open("rb") as text:
        found = tree.finding_of(["node", "--input-type=module", "--check"], stdin=text)
    return [f"{path}: {found}"] if found else []


def long_functions(path):
    begun = None
    for number, line in tree.lines_of(path):
        beginning = BEGINNING.match(line)
        if beginning:
            begun = (number, beginning[1])
        elif begun and line == begun[1] + "}":
            if number - begun[0] > MOST_LINES:
                yield f"{path}:{begun[0]}: a function has {number - begun[0]} lines, {MOST_LINES} at most"
            begun = None


tree.conclude([
    finding for path in tree.files("tools/corvelctl/view/page/*.js")
    for finding in [*syntax_errors(path), *long_functions(path)]])
