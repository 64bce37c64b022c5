#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""A folder includes only what the table allows, and the roles contain no name of the NATS client. A
folder that is not listed may include everything."""

import re

import tree

STANDARD = r"<[a-z_0-9/]+>$"  # <mutex>, <chrono>; no dot, so no foreign header
FOREIGN = r"<(?!hub/)"
ALLOWED = {
    "include/hub": [STANDARD, r"<hub/"],
    "src/errors": [STANDARD, r"<hub/", r'"errors/'],
    "src/locks": [STANDARD, r"<hub/detail/", r'"locks/', r"<(linux|sys|unistd)"],
    "src/model": [STANDARD, r"<hub/", r'"locks/', r'"model/'],
    # What is decoded refers to the message, and the model applies it.
    "src/protocol": [
        STANDARD, r"<hub/", r'"protocol/', r'"model/value_view\.hpp"', r"<flatbuffers/"],
    "src/runtime": [
        STANDARD, r"<hub/", r'"runtime/', r'"errors/', r'"protocol/', r"<nats/", r"<curl/"],
    "src/provider": [
        STANDARD, r"<hub/", r'"provider/', r'"errors/', r'"locks/', r'"model/', r'"protocol/', r'"runtime/'],
    "src/consumer": [
        STANDARD, r"<hub/", r'"consumer/', r'"errors/', r'"model/', r'"protocol/', r'"runtime/'],
    # A library of its own: what it cannot do on the public headers, these lack.
    "src/session": [STANDARD, r"<hub/", r'"session/', r"<sys/eventfd\.h>|<unistd\.h>"],
    # Sessions, and for tests of applications the development hub. Its headers stay inside.
    "src/testkit": [STANDARD, r"<hub/", r'"testkit/', r'"dev_hub/'],
    "examples": [STANDARD, r"<hub/", r'"[^/]+"$', r"<nlohmann/json\.hpp>|<poll\.h>|<unistd\.h>"],
    "examples/tested_oven": [
        STANDARD, r"<hub/", r'"[^/]+"$', r"<gtest/gtest\.h>|<catch2/catch\.hpp>"],
    # The hub speaks the wire format, so it shares the internal code for it.
    "tools/dev_hub": [FOREIGN, r'"protocol/', r'"runtime/', r'"dev_hub/', r'"man_page/'],
    "tools/man_page": [STANDARD, r'"man_page/', r"<CLI/"],
    # The tool of users stands on what users have, runs the development hub, and decodes messages of
    # others.
    "tools/corvelctl": [
        FOREIGN, r"<hub/", r'"corvelctl/', r'"dev_hub/', r'"man_page/', r'"plant\.hpp"$',
        r'"protocol/(subjects|\w+_codec)\.hpp"$'],
    "tools": [FOREIGN, r"<hub/", r'"[^/]+"$'],
}
# The runtime gives the roles C++: what they need of the NATS client has a name of ours.
WITHOUT_NATS_NAMES = ("src/provider/", "src/consumer/")
NATS_NAME = re.compile(r"\b(?:nats[A-Z]\w*|NATS_[A-Z]\w*)")
INCLUDE = re.compile(r'\s*#\s*include\s*(<[^>]+>|"[^"]+")')


def folder_of(path):
    """The most specific listed folder that the file is in."""
    listed = [folder for folder in ALLOWED if str(path).startswith(folder + "/")]
    return max(listed, key=len, default=None)


def forbidden_includes():
    for path in tree.files("*.hpp", "*.cpp"):
        folder = folder_of(path)
        for number, line in tree.lines_of(path) if folder else []:
            include = INCLUDE.match(line)
            if include and not any(re.match(allowed, include[1]) for allowed in ALLOWED[folder]):
                yield f"{path}:{number}: {folder} may not include {include[1]}"


def forbidden_names():
    for path in tree.files("*.hpp", "*.cpp"):
        if str(path).startswith(WITHOUT_NATS_NAMES):
            for number, line in tree.lines_of(path):
                for name in NATS_NAME.findall(line):
                    yield f"{path}:{number}: {name} is a name of the NATS client"


tree.conclude([*forbidden_includes(), *forbidden_names()])
