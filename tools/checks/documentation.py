#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Writes the manual to build/docs/html. Missing documentation, a broken link between pages, and a
name that belongs to no group of the manual are errors."""

import pathlib
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree

import manual
import tree
import versions

OUTPUT = pathlib.Path("build/docs")
TAGS = OUTPUT / "tags.xml"
GROUPS = pathlib.Path("docs/manual_groups.dox")


def settings():
    inputs = [str(page) for page in manual.pages()] + [str(GROUPS)] * GROUPS.exists()
    script = f"{sys.executable} -B {manual.__file__}"
    return "\n".join([
        pathlib.Path("Doxyfile.in").read_text(encoding="utf-8")
        .replace("@PROJECT_VERSION@", versions.project_version()),
        f"INPUT += {' '.join(inputs)}",
        f"FILTER_PATTERNS = *.md=\"{script}\" *.hpp=\"{script}\"",
        f"GENERATE_TAGFILE = {TAGS}"])


def names_in(compounds, *kinds):
    """The classes, and the functions and types outside classes, that these pages list."""
    for compound in compounds:
        if compound.get("kind") in kinds:
            yield from (entry.text for entry in compound.findall("class"))
            yield from (member.findtext("name") for member in compound.findall("member"))


def ungrouped():
    compounds = xml.etree.ElementTree.parse(TAGS).getroot()
    grouped = {name.split("::")[-1] for name in names_in(compounds, "group")}
    return [f"{GROUPS}: {name} belongs to no group of the manual"
            for name in sorted(set(names_in(compounds, "namespace")))
            if name.split("::")[-1] not in grouped]


def copy_linked_files():
    """So that the manual can be read without the tree."""
    for path in manual.linked_files():
        copy = OUTPUT / "html" / manual.FILES / path
        if path.is_dir():
            # Hidden files are for the checks of this tree.
            shutil.copytree(path, copy, dirs_exist_ok=True, ignore=shutil.ignore_patterns(".*"))
        elif path.exists():  # the check of links reports it otherwise
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(path, copy)


def findings():
    OUTPUT.mkdir(parents=True, exist_ok=True)
    done = subprocess.run(
        ["doxygen", "-"], input=settings(), text=True, capture_output=True, check=True)
    copy_linked_files()
    # A sentence states what a function returns ("Returns the ..."); Doxygen looks for its own tag.
    found = [line for line in done.stderr.splitlines()
             if not re.search(r"return type of member .* is not documented$", line)]
    return found + (ungrouped() if GROUPS.exists() else [])


tree.conclude(findings())
