#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""A comment that silences the analysis names the rule and the reason on the same line."""

import re

import tree

SUPPRESSION = re.compile(r"NOLINT")
JUSTIFIED = re.compile(r"NOLINT(NEXTLINE|BEGIN)?\([\w*.,\s-]+\): \S|NOLINTEND\(")

tree.conclude([
    f"{path}:{number}: a suppression reads NOLINT(rule): reason: {line.strip()}"
    for path in tree.files("*.hpp", "*.cpp")
    for number, line in tree.lines_of(path)
    if SUPPRESSION.search(line) and not JUSTIFIED.search(line)])
