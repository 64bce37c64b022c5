#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Everything builds with Clang without a warning. Leaves the compile commands for later checks."""

import tree

for step in (["cmake", "--preset", "clang"], ["cmake", "--build", "--preset", "clang"]):
    failure = tree.finding_of(step)
    if failure:
        tree.conclude([failure])
