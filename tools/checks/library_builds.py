#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The library builds without a warning: with Clang, for the checks that look at it, and with GCC
the way distributions build it. Some of GCC's warnings need its optimiser, which the builds of the
tests leave out and the release puts off until it links. What else is compiled gets its warnings from
`clang_tidy`, which sees the same commands as Clang."""

import tree

for preset in ("clang", "gcc"):
    for step in (["cmake", "--preset", preset],
                 ["cmake", "--build", "--preset", preset, "--target", "corvel-hub-client"]):
        failure = tree.finding_of(step)
        if failure:
            tree.conclude([failure])
