#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""clang-tidy over everything that is compiled, the compiler's own warnings included; .clang-tidy
says which rules hold. A file that was clean is not looked at again until what the compiler sees of
it, or a rule, has changed."""

import functools
import hashlib
import json
import pathlib
import re
import shlex
import subprocess

import tree

BUILD = pathlib.Path("build/clang")
CLEAN = BUILD / "clang-tidy-clean"


def compiled():
    """The compile commands of the tree's own files, the longest files first so that no core is
    left with one of them at the end."""
    commands = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    own = {str(path.absolute()) for path in tree.files("*.cpp")}
    by_file = {command["file"]: command for command in commands if command["file"] in own}
    return sorted(by_file.values(), key=lambda command: -pathlib.Path(command["file"]).stat().st_size)


def rules_for(source):
    """The texts of the rule files that hold for the source, the tree's own and those below it."""
    folders = pathlib.Path(source).relative_to(pathlib.Path.cwd()).parents
    files = [folder / ".clang-tidy" for folder in folders]
    return b"".join(file.read_bytes() for file in files if file.is_file())


def what_decides(command):
    """A name for all that the analysis depends on: the rules, and the source with its headers and
    comments, which may silence a rule."""
    words = shlex.split(command["command"])
    preprocess = words[:words.index("-o")] + ["-E", "-CC", command["file"]]
    seen = subprocess.run(preprocess, cwd=command["directory"], capture_output=True, check=False)
    rules = rules_for(command["file"])
    return hashlib.sha256(rules + command["command"].encode() + seen.stdout).hexdigest()


def fault(command):
    mark = CLEAN / what_decides(command)
    if mark.exists():
        return None
    finding = tree.finding_of(["clang-tidy-14", "-p", str(BUILD), "--quiet", command["file"]])
    if finding is None:
        mark.touch()
        return None
    return re.sub(r"^\d+ warnings? generated\.\n", "", finding, flags=re.MULTILINE)


def main():
    CLEAN.mkdir(exist_ok=True)
    tree.conclude(tree.findings_of([functools.partial(fault, command) for command in compiled()]))


main()
