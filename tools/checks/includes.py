#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Every source file includes its own header first, so that the header compiles without the help of
others. Some headers may be included by one file only."""

import re

import tree

# Only this file may include the header, so that the vtables of messages stay in one place.
PRIVATE = {'"protocol/item_tables.hpp"': "src/protocol/variables_codec.cpp"}
INCLUDE = re.compile(r'\s*#\s*include\s*(<[^>]+>|"[^"]+")')


def includes_of(path):
    matches = ((number, INCLUDE.match(line)) for number, line in tree.lines_of(path))
    return [(number, match[1]) for number, match in matches if match]


def own_headers(path, headers):
    """The headers with the file's name, public or internal; if there is none, a public one with a
    longer name; if there is none, the header of the class `impl` that the folder's files share."""
    stem, folder = re.escape(path.stem), path.parent.name
    for pattern in (rf'<hub/(\w+/)?{stem}\.hpp>|"{folder}/{stem}(_impl)?\.hpp"',
                    rf"<hub/\w+_{stem}\.hpp>",
                    rf'"{folder}/\w+_impl\.hpp"'):
        named = [name for name in headers if re.fullmatch(pattern, name)]
        if named:
            return named
    return []


def findings():
    headers = [f"<{path.relative_to('include')}>" for path in tree.files("include/*.hpp")]
    headers += [f'"{path.relative_to("src")}"' for path in tree.files("src/*.hpp")]
    for path in tree.files("src/*.cpp"):
        own, included = own_headers(path, headers), includes_of(path)
        if own and included and included[0][1] not in own:
            yield f"{path}:{included[0][0]}: the first include is not {' or '.join(own)}"
    for path in tree.files("*.hpp", "*.cpp"):
        for number, name in includes_of(path):
            if PRIVATE.get(name, str(path)) != str(path):
                yield f"{path}:{number}: only {PRIVATE[name]} may include {name}"


tree.conclude(list(findings()))
