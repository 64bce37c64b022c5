#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Runs the static checks, all or the named ones, and prints one line for each."""

import pathlib
import subprocess
import sys
import time

# The cheap ones first. The last ones need what `library_builds` writes to build/clang.
CHECKS = [
    "licence", "words", "english", "commits", "versions", "spelling", "shell", "javascript", "links", "layers",
    "includes", "foreign_types", "suppressions", "idioms", "loops", "lengths", "format",
    "documentation", "snippets", "library_builds", "headers_alone", "public_surface", "abi", "lock_rules",
    "clang_tidy",
]


def run(name):
    started = time.monotonic()
    print(f"{name:<16}", end="", flush=True)
    done = subprocess.run(
        [sys.executable, pathlib.Path(__file__).with_name(f"{name}.py")],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    verdict = "ok" if done.returncode == 0 else "failed"
    print(f"{verdict:<6} {time.monotonic() - started:6.1f} s", flush=True)
    if done.returncode != 0:
        print("".join(f"    {line}\n" for line in done.stdout.splitlines()), end="", flush=True)
    return done.returncode == 0


def main():
    chosen = sys.argv[1:] or CHECKS
    unknown = sorted(set(chosen) - set(CHECKS))
    if unknown:
        sys.exit(f"no such check: {' '.join(unknown)}; there are {' '.join(CHECKS)}")
    failed = [name for name in chosen if not run(name)]
    sys.exit(f"failed: {' '.join(failed)}" if failed else 0)


main()
