#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Every header compiles in a file that includes nothing else."""

import functools

import tree

# Users choose their compiler, library and standard; our own code is built with one standard.
PUBLIC = [
    ["g++", "-std=c++17"],
    ["g++", "-std=c++20"],
    ["clang++-14", "-std=c++17"],
    ["clang++-14", "-std=c++20"],
    ["clang++-14", "-std=c++17", "-stdlib=libc++"],
    ["clang++-14", "-std=c++20", "-stdlib=libc++"],
]
INTERNAL = [["g++", "-std=c++20"]]
WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]


def fault(compiler, header, name):
    command = [*compiler, *WARNINGS, "-fsyntax-only", "-x", "c++", *tree.ALL_INCLUDES, "-"]
    finding = tree.finding_of(command, input=f"#include {name}\n")
    return finding and f"{header}: {' '.join(compiler)}:\n{finding}"


def jobs():
    for header in tree.files("include/*.hpp"):
        for compiler in PUBLIC:
            yield functools.partial(fault, compiler, header, f"<{header.relative_to('include')}>")
    for header in tree.files("src/*.hpp"):
        for compiler in INTERNAL:
            yield functools.partial(fault, compiler, header, f'"{header.relative_to("src")}"')


tree.conclude(tree.findings_of(list(jobs())))
