#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The libraries build without a warning: with Clang, for the checks that read its output, and with
GCC as distributions build it. Some of GCC's warnings need its optimiser, which the test builds do
not use and the release uses only when it links. `clang_tidy`, which runs the same commands as
Clang, reports the warnings of all other code."""

import tree

for preset in ("clang", "gcc"):
    for step in (["cmake", "--preset", preset],
                 ["cmake", "--build", "--preset", preset, "--target",
                  "corvel-hub-client", "corvel-hub-session", "corvel-hub-testkit"]):
        failure = tree.finding_of(step)
        if failure:
            tree.conclude([failure])
