#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The subject of a commit names the layer and states what the commit does, in 60 characters. Checks
what is about to be pushed, because older commits can no longer be changed, and always the last
commit."""

import re
import subprocess

import tree

LIMIT = 60
SUBJECT = re.compile(r"[a-z][a-z_ ,/-]*: \S|Merge |Revert ")


def faults(subject):
    if len(subject) > LIMIT:
        yield f"has {len(subject)} characters; {LIMIT} are the limit"
    if not SUBJECT.match(subject):
        yield "does not begin with a layer, as in `protocol: keep unknown tags`"


def commits():
    ahead = subjects("@{upstream}..HEAD")
    return ahead or subjects("-1")


def subjects(which):
    log = subprocess.run(
        ["git", "log", "--format=%h %s", which], capture_output=True, text=True, check=False)
    return [line.split(" ", 1) for line in log.stdout.splitlines()]


tree.conclude([
    f"{commit}: subject {fault}: {subject}"
    for commit, subject in commits() for fault in faults(subject)])
