#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""clang-tidy over everything that is compiled; .clang-tidy says which rules hold."""

import functools
import json
import os
import pathlib

import tree

BUILD = pathlib.Path("build/clang")


def sources():
    """The compiled files of the tree, the longest first so that no core is left with one late."""
    commands = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    top = pathlib.Path.cwd()
    compiled = {pathlib.Path(command["file"]) for command in commands}
    own = [path for path in compiled if path.is_relative_to(top) and path.is_file()]
    return sorted((str(path.relative_to(top)) for path in own), key=os.path.getsize, reverse=True)


def fault(source):
    return tree.finding_of(["clang-tidy-14", "-p", str(BUILD), "--quiet", source])


tree.conclude(tree.findings_of([functools.partial(fault, source) for source in sources()]))
