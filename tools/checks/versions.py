#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""CMakeLists.txt defines the version; all other places repeat it."""

import pathlib
import re

import tree


def project_version():
    text = pathlib.Path("CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\([^)]*VERSION\s+(\d+\.\d+\.\d+)", text)[1]


# Where the version is repeated, and its form there, in one piece or in three.
REPEATED = {
    "include/hub/version.hpp":
        r"VERSION_MAJOR (\d+)\n.*VERSION_MINOR (\d+)\n.*VERSION_PATCH (\d+)\n",
    "debian/changelog": r"\Acorvel-hub-client \((\d+\.\d+\.\d+)\)",
    "CHANGELOG.md": r"^## \[Unreleased\] (\d+\.\d+\.\d+)|^## \[(\d+\.\d+\.\d+)\]",
}


def repeated_version(path, pattern):
    text = path.read_text(encoding="utf-8") if path.is_file() else ""
    found = re.search(pattern, text, re.MULTILINE)
    return found and ".".join(piece for piece in found.groups() if piece)


def findings():
    wanted = project_version()
    for name, pattern in REPEATED.items():
        found = repeated_version(pathlib.Path(name), pattern)
        if found != wanted:
            yield f"{name}: says {found}, CMakeLists.txt says {wanted}"


if __name__ == "__main__":
    tree.conclude(list(findings()))
