#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The shared library exports exactly the symbols of packaging/abi/symbols.txt. With --update it
writes that list again; look at the difference before you commit it."""

import argparse
import pathlib
import subprocess

import tree

LIST = pathlib.Path("packaging/abi/symbols.txt")
HEAD = """\
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# What the shared library exports. Written by `tools/checks/public_surface.py --update`.
"""


def exported(library):
    listed = subprocess.run(
        ["nm", "--dynamic", "--defined-only", "--demangle", library],
        check=True, capture_output=True, text=True).stdout
    # Address and kind come first; constructors have several entry points of the same name.
    return {line.split(" ", 2)[2] for line in listed.splitlines()}


def expected():
    lines = LIST.read_text(encoding="utf-8").splitlines() if LIST.is_file() else []
    return {line for line in lines if line and not line.startswith("#")}


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--update", action="store_true", help="write the list again")
    arguments.add_argument("library", nargs="?", default="build/clang/src/libcorvel-hub-client.so")
    chosen = arguments.parse_args()
    found = exported(chosen.library)
    if chosen.update:
        LIST.parent.mkdir(parents=True, exist_ok=True)
        LIST.write_text(HEAD + "".join(f"{name}\n" for name in sorted(found)), encoding="utf-8")
    wanted = expected()
    tree.conclude([f"exported, but not listed: {name}" for name in sorted(found - wanted)]
                  + [f"listed, but not exported: {name}" for name in sorted(wanted - found)])


main()
