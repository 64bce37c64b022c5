#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Runs clang-tidy over everything that is compiled, the compiler's own warnings included;
.clang-tidy lists the rules. Skips a clean file until what the compiler reads of it, or a rule, has
changed."""

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
    """One compile command for each of the tree's own files, the first one where several targets
    compile a file, as the library comes before its tests. The longest files are first so that no
    core is left with one of them at the end."""
    commands = json.loads((BUILD / "compile_commands.json").read_text(encoding="utf-8"))
    own = {str(path.absolute()) for path in tree.files("*.cpp")}
    by_file = {command["file"]: command for command in reversed(commands)
               if command["file"] in own}
    return sorted(by_file.values(), key=lambda command: -pathlib.Path(command["file"]).stat().st_size)


def rules_for(source):
    """The contents of the rule files that apply to the source: the tree's own and those below it."""
    folders = pathlib.Path(source).relative_to(pathlib.Path.cwd()).parents
    files = [folder / ".clang-tidy" for folder in folders]
    return b"".join(file.read_bytes() for file in files if file.is_file())


def what_decides(compiler, source):
    """A name for everything that the analysis depends on: the rules, and the source with its headers
    and comments, which may silence a rule."""
    seen = subprocess.run([*compiler, "-E", "-CC", source], capture_output=True, check=False)
    words = shlex.join(compiler).encode()
    return hashlib.sha256(rules_for(source) + words + seen.stdout).hexdigest()


def fault(command):
    words = shlex.split(command["command"])
    compiler, source = words[:words.index("-o")], command["file"]
    mark = CLEAN / what_decides(compiler, source)
    if mark.exists():
        return None
    # Given the folder of all commands, clang-tidy would analyse a file once for each target.
    finding = tree.finding_of(["clang-tidy-14", "--quiet", source, "--", *compiler[1:]])
    if finding is None:
        mark.touch()
        return None
    return re.sub(r"^\d+ warnings? generated\.\n", "", finding, flags=re.MULTILINE)


def main():
    CLEAN.mkdir(exist_ok=True)
    tree.conclude(tree.findings_of([functools.partial(fault, command) for command in compiled()]))


main()
