#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Every source file is formatted as the formatter would write it."""

import tree

sources = [str(path) for path in tree.files("*.hpp", "*.cpp")]
finding = tree.finding_of(["clang-format-14", "--dry-run", "--Werror", *sources]) \
    if sources else None
tree.conclude([finding] if finding else [])
