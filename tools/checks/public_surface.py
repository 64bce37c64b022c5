#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Each shared library exports exactly the symbols of its list in packaging/abi. With --update it
writes the lists again; look at the difference before you commit it."""

import argparse
import pathlib
import subprocess

import tree

LISTS = pathlib.Path("packaging/abi")
BUILT = pathlib.Path("build/clang")
LIBRARIES = ["src/libcorvel-hub-client", "src/session/libcorvel-hub-session"]
HEAD = """\
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

# What the shared library exports. Written by `tools/checks/public_surface.py --update`.
"""


def list_of(library):
    return LISTS / f"{pathlib.Path(library).name}.symbols"


def exported(library):
    listed = subprocess.run(
        ["nm", "--dynamic", "--defined-only", "--demangle", BUILT / f"{library}.so"],
        check=True, capture_output=True, text=True).stdout
    # Address and kind come first; constructors have several entry points of the same name.
    return {line.split(" ", 2)[2] for line in listed.splitlines()}


def expected(library):
    path = list_of(library)
    lines = path.read_text(encoding="utf-8").splitlines() if path.is_file() else []
    return {line for line in lines if line and not line.startswith("#")}


def update(library):
    LISTS.mkdir(parents=True, exist_ok=True)
    names = "".join(f"{name}\n" for name in sorted(exported(library)))
    list_of(library).write_text(HEAD + names, encoding="utf-8")


def findings(library):
    name = pathlib.Path(library).name
    found = exported(library)
    wanted = expected(library)
    yield from (f"{name}: exported, but not listed: {each}" for each in sorted(found - wanted))
    yield from (f"{name}: listed, but not exported: {each}" for each in sorted(wanted - found))


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--update", action="store_true", help="write the lists again")
    if arguments.parse_args().update:
        for library in LIBRARIES:
            update(library)
    tree.conclude([finding for library in LIBRARIES for finding in findings(library)])


main()
