#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Links in Markdown lead to existing files and headings of this tree."""

import re

import tree

FENCE = re.compile(r"^\s*```")
LINK = re.compile(r"\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+\s+(.*?)\s*$")


def prose(path):
    """The numbered lines outside code blocks."""
    inside = False
    for number, line in tree.lines_of(path):
        if FENCE.match(line):
            inside = not inside
        elif not inside:
            yield number, re.sub(r"`[^`]*`", lambda code: code[0].replace("](", "] ("), line)


def anchor(heading):
    """The anchor that a forge gives to a heading."""
    return re.sub(r"\s", "-", re.sub(r"[^\w\s-]", "", heading.lower()))


def anchors(path):
    for _, line in prose(path):
        heading = HEADING.match(line)
        if heading:
            yield anchor(heading[1])


def fault(path, target):
    name, _, wanted = target.partition("#")
    linked = path.parent / name if name else path
    if not linked.exists():
        return f"{name} does not exist"
    if wanted and linked.suffix == ".md" and wanted not in anchors(linked):
        return f"{linked} has no heading {wanted}"
    return None


if __name__ == "__main__":
    tree.conclude([
        f"{path}:{number}: {fault(path, target)}"
        for path in tree.files("*.md")
        for number, line in prose(path)
        for target in LINK.findall(line)
        if not re.match(r"[a-z]+:", target) and fault(path, target)])
