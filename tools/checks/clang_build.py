#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The library builds with Clang without a warning, for the checks that look at it. What else is
compiled gets its warnings from `clang_tidy`, which sees the same commands."""

import tree

for step in (["cmake", "--preset", "clang"],
             ["cmake", "--build", "--preset", "clang", "--target", "corvel-hub-client"]):
    failure = tree.finding_of(step)
    if failure:
        tree.conclude([failure])
