#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Runs codespell with the exceptions of .codespellrc."""

import tree

finding = tree.finding_of(["codespell", *map(str, tree.files())])
tree.conclude([finding] if finding else [])
