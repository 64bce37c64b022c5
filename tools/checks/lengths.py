#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The examples of sessions stay short, because sessions exist so that programs are."""

import tree

MOST_LINES = {
    "examples/provider_session/main.cpp": 40,
    "examples/consumer_session/main.cpp": 40,
    "examples/furnace/main.cpp": 80,
    "examples/json_logger/main.cpp": 80,
}


def findings():
    for path in tree.files(*MOST_LINES):
        lines, most = len(tree.lines_of(path)), MOST_LINES[str(path)]
        if lines > most:
            yield f"{path}: {lines} lines, {most} at most"


tree.conclude(list(findings()))
