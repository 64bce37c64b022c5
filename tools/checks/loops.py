#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""A range-for keeps what its range expression returns, but until C++23 none of the temporaries in
it. A loop over something inside a returned owner (`: *oven.get_list()`, `: get_list()->items()`)
therefore reads memory that may be freed. The owner needs a name, or must be the range itself."""

import re

import tree

OWNER = r"(?:std::(?:shared|unique)_ptr<.+>|current_variables)"
DECLARED = re.compile(rf"^\s*(?:\[\[nodiscard\]\] )?(?:static )?{OWNER}\s+(\w+)\(", re.MULTILINE)
AMBIGUOUS = "find"  # other classes have it too, and nobody loops over the result of ours
LOOP = re.compile(r"\bfor (?=\()")
COLON = re.compile(r"(?<!:):(?!:)")


def names_of_owners():
    """The functions that return an owner by value."""
    return {name for path in tree.files("*.hpp")
            for name in DECLARED.findall(path.read_text(encoding="utf-8"))} - {AMBIGUOUS}


def end_of_parentheses(text, start):
    """The position behind the parenthesis that closes the one at `start`."""
    depth = 0
    for position in range(start, len(text)):
        depth += {"(": 1, ")": -1}.get(text[position], 0)
        if depth == 0:
            return position + 1
    return len(text)


def ranges_in(text):
    """The range expressions of the loops, each with its position."""
    for loop in LOOP.finditer(text):
        head = text[loop.end() + 1:end_of_parentheses(text, loop.end()) - 1]
        declaration_and_range = COLON.split(head.rpartition(";")[2], maxsplit=1)
        if len(declaration_and_range) == 2:
            yield loop.start(), declaration_and_range[1].strip()


def is_dangling(expression, owner_call):
    """Whether the loop runs over something inside the last owner that is returned."""
    calls = list(owner_call.finditer(expression))
    return bool(calls) and (
        expression.startswith("*")
        or end_of_parentheses(expression, calls[-1].end() - 1) < len(expression))


def findings():
    owner_call = re.compile(rf"\b(?:{'|'.join(sorted(names_of_owners()))})\(")
    for path in tree.files("*.hpp", "*.cpp", "*.md"):
        text = path.read_text(encoding="utf-8")
        for position, expression in ranges_in(text):
            if is_dangling(expression, owner_call):
                number = text.count("\n", 0, position) + 1
                yield f"{path}:{number}: the range is inside of a temporary: {expression}"


tree.conclude(list(findings()))
