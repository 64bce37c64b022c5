#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Writes the documentation of the public interface to build/docs; any warning is an error."""

import pathlib
import re
import subprocess

import tree
import versions

output = pathlib.Path("build/docs")
output.mkdir(parents=True, exist_ok=True)
settings = pathlib.Path("Doxyfile.in").read_text(encoding="utf-8") \
    .replace("@PROJECT_VERSION@", versions.project_version())
done = subprocess.run(["doxygen", "-"], input=settings, text=True, capture_output=True, check=True)
# What a function returns stands in a sentence ("Returns the ..."); the tool knows only its own tag.
tree.conclude([
    line for line in done.stderr.splitlines()
    if not re.search(r"return type of member .* is not documented$", line)])
