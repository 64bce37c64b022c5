#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Every commit says in its subject which layer it changes and what it does, in 60 characters."""

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


log = subprocess.run(["git", "log", "--format=%h %s"], capture_output=True, text=True, check=False)
tree.conclude([
    f"{commit}: subject {fault}: {subject}"
    for commit, subject in (line.split(" ", 1) for line in log.stdout.splitlines())
    for fault in faults(subject)])
