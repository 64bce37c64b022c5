#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Runs shellcheck over the shell scripts."""

import tree

scripts = [
    str(path) for path in tree.files()
    if any(line.startswith("#!") and line.endswith("sh") for _, line in tree.lines_of(path)[:1])]
finding = tree.finding_of(["shellcheck", *scripts]) if scripts else None
tree.conclude([finding] if finding else [])
