#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Runs Clang's thread safety analysis of our own code, which needs the annotated mutexes of
libc++."""

import functools

import tree

ANALYSE = [
    "clang++-14", "-std=c++20", "-stdlib=libc++", "-fsyntax-only",
    "-D_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS", "-Wthread-safety", "-Wthread-safety-beta",
    "-Werror", *tree.ALL_INCLUDES]

tree.conclude(tree.findings_of([
    functools.partial(tree.finding_of, [*ANALYSE, str(source)])
    for source in tree.files("src/*.cpp")]))
