# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""What all checks share. They run from the top of the tree and read tracked and new files, but no
ignored or built ones. A check prints its findings and returns 1 if there are any."""

import concurrent.futures
import os
import pathlib
import subprocess
import sys

# Where our own code finds its headers; the schema compiler writes to the last one.
PUBLIC_INCLUDES = ["-Iinclude"]
ALL_INCLUDES = ["-Iinclude", "-Isrc", "-Itools", "-isystem", "build/clang/generated"]


def files(*patterns):
    if not pathlib.Path(".git").exists():  # an unpacked source package
        found = [path for path in pathlib.Path(".").rglob("*") if path.parts[0] != "build"]
        return sorted(path for path in found if path.is_file() and (
            not patterns or any(path.match(pattern) for pattern in patterns)))
    listed = subprocess.run(
        ["git", "ls-files", "--cached", "--others", "--exclude-standard", "-z", "--", *patterns],
        check=True, capture_output=True, text=True).stdout
    paths = sorted({pathlib.Path(name) for name in listed.split("\0") if name})
    return [path for path in paths if path.is_file()]


def lines_of(path):
    """The numbered lines of a text file; none of a binary file."""
    try:
        return list(enumerate(path.read_text(encoding="utf-8").splitlines(), 1))
    except UnicodeDecodeError:
        return []


def finding_of(command, **options):
    """The output of the command if it failed, otherwise None."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          check=False, **options)
    return done.stdout.strip() or f"{command[0]} ended with {done.returncode}" \
        if done.returncode != 0 else None


def findings_of(jobs):
    """Runs functions without arguments on all cores and returns what they found, in their order."""
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        return [finding for finding in pool.map(lambda job: job(), jobs) if finding]


def conclude(findings):
    for finding in findings:
        print(finding)
    sys.exit(1 if findings else 0)
