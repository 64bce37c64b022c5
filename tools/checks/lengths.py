#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The examples stay short, so that readers see what matters; those of sessions also because sessions
exist so that programs are."""

import tree

MOST_LINES = {
    "examples/provider_session/main.cpp": 40,
    "examples/consumer_session/main.cpp": 40,
    "examples/furnace/main.cpp": 80,
    "examples/json_logger/main.cpp": 80,
    "examples/provider_minimal/main.cpp": 70,
    "examples/consumer_minimal/main.cpp": 90,
    "examples/write_commands/take_commands.cpp": 110,
    "examples/all_types/main.cpp": 100,
    "examples/quality_and_stale_list/main.cpp": 90,
    "examples/definition_upgrade/upgraded_provider.cpp": 60,
    "examples/definition_upgrade/upgrade_watcher.cpp": 60,
    "examples/many_providers/main.cpp": 65,
    "examples/tls/main.cpp": 60,
    "examples/latency/main.cpp": 95,
    "examples/event_loop/main.cpp": 110,
}


def findings():
    for path in tree.files(*MOST_LINES):
        lines, most = len(tree.lines_of(path)), MOST_LINES[str(path)]
        if lines > most:
            yield f"{path}: {lines} lines, {most} at most"


tree.conclude(list(findings()))
