#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The binary interface of the libraries is the one that packaging/abi records, and so are their
SONAMEs. With --update it records the present one; docs/compatibility.md says what may change."""

import argparse
import pathlib
import platform
import re
import subprocess

import tree
import versions

DUMPS = pathlib.Path("packaging/abi")
BUILT = pathlib.Path("build/gcc")
LIBRARIES = ["src/libcorvel-hub-client", "src/session/libcorvel-hub-session"]
CURE = "if this is intended and allowed, see docs/compatibility.md: tools/checks/abi.py --update"


def dump_of(library):
    return DUMPS / f"{pathlib.Path(library).name}.abi"


def write_dump(library, path):
    # Only what differs when the interface differs: no places, no paths, no other libraries.
    subprocess.run(
        ["abidw", "--exported-interfaces-only", "--drop-undefined-syms", "--drop-private-types",
         "--no-parameter-names", "--no-show-locs", "--no-corpus-path", "--no-comp-dir-path",
         "--no-elf-needed", "--type-id-style", "hash", "--headers-dir", "include",
         "--out-file", path, BUILT / f"{library}.so"], check=True)
    # One kind of path is left, of the sources; without the folder of this machine.
    folders = rf"( path=')(?:{re.escape(str(pathlib.Path.cwd()))}/|(?:\.\./)+)(?=src/)"
    dump = pathlib.Path(path).read_text(encoding="utf-8")
    pathlib.Path(path).write_text(re.sub(folders, r"\1", dump), encoding="utf-8")


def soname_of(library):
    dynamic = subprocess.run(["readelf", "--dynamic", "--wide", BUILT / f"{library}.so"],
                             check=True, capture_output=True, text=True).stdout
    return re.search(r"soname: \[(.*)\]", dynamic)[1]


def findings():
    version = ".".join(versions.project_version().split(".")[:2])
    for library in LIBRARIES:
        wanted = f"{pathlib.Path(library).name}.so.{version}"
        if soname_of(library) != wanted:
            yield f"{library}: has the SONAME {soname_of(library)} instead of {wanted}"
        present = BUILT / f"{library}.abi"
        if not dump_of(library).is_file():
            yield f"{library}: {dump_of(library)} is missing\n{CURE}"
            continue
        write_dump(library, present)
        difference = tree.finding_of(["abidiff", dump_of(library), present])
        if difference:
            yield f"{library}: the interface has changed\n{difference}\n{CURE}"


def main():
    arguments = argparse.ArgumentParser(description=__doc__)
    arguments.add_argument("--update", action="store_true", help="record the present interface")
    if arguments.parse_args().update:
        DUMPS.mkdir(parents=True, exist_ok=True)
        for library in LIBRARIES:
            write_dump(library, dump_of(library))
    if platform.machine() == "x86_64":  # where the dumps are from; sizes differ elsewhere
        tree.conclude(list(findings()))


main()
