#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Writes the documentation of the public interface to build/docs; any warning is an error."""

import pathlib

import tree
import versions

output = pathlib.Path("build/docs")
output.mkdir(parents=True, exist_ok=True)
settings = pathlib.Path("Doxyfile.in").read_text(encoding="utf-8") \
    .replace("@PROJECT_VERSION@", versions.project_version())
finding = tree.finding_of(["doxygen", "-"], input=settings)
tree.conclude([finding] if finding else [])
