# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""The kinds of machines that have figures of their own, and the documents with those figures."""

import os
import pathlib
import platform

TWO_CORES, FOUR_CORES = "2 cores", "4 cores or more"


def kind():
    return TWO_CORES if cores() < 4 else FOUR_CORES


def description():
    return f"{cores()} cores of {processor_model()}, {platform.system()}"


def cores():
    """How many this process may use."""
    return len(os.sched_getaffinity(0))


def processor_model():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.partition(":")[2].strip()
    return "unknown processor"


def write_section(document, lines):
    """Replaces what the document has below the second-level heading of this kind of machine."""
    heading = f"\n## {kind()}\n"
    before, found, below = document.read_text(encoding="utf-8").partition(heading)
    if not found:
        raise RuntimeError(f"{document} has no heading for {kind()}")
    _, next_heading, behind = below.partition("\n## ")
    section = "\n".join(["", *lines, ""])
    document.write_text(before + heading + section + next_heading + behind, encoding="utf-8")
