# SPDX-FileCopyrightText: 2026 Arvenhold
# SPDX-License-Identifier: Apache-2.0

"""Prepares the sources for the HTML manual: Markdown files become pages that link to each other,
and headers lose their deleted functions. Doxygen runs this file as its filter."""

import os
import pathlib
import re
import sys

import links
import tree

FILES = pathlib.Path("files")  # beside the pages: copies of the source files that they link to
FRONT_PAGE = pathlib.Path("README.md")
# The first pages of the manual's table of contents; all other pages follow.
FIRST_PAGES = ["docs/getting-started.md", "docs/installing.md", "docs/providers.md", "docs/consumers.md",
               "docs/sessions.md",
               "docs/recovery.md", "docs/test-your-program.md", "docs/security.md", "docs/operations.md",
               "docs/performance.md", "docs/scaling.md", "docs/corvelctl.md", "docs/bindings.md",
               "docs/errors.md", "docs/threading.md", "docs/compatibility.md",
               "tools/dev_hub/README.md",
               "docs/messages.md", "docs/architecture.md"]
# Pages that are listed below another one.
PARENTS = {"docs/decisions/": "docs/architecture.md", "docs/benchmarks-": "docs/benchmarks.md",
           "bench/": "docs/benchmarks.md", "docs/reliability": "docs/testing.md",
           "fuzz/": "docs/testing.md"}
TARGET_NAME = re.compile(r"`([\w-]+-client)::([\w-]+)`")  # Doxygen would look for a class
COMMENT = re.compile(r"\A(?:<!--.*?-->\s*)+", re.DOTALL)
DELETED = re.compile(r"(?:^ *///[^\n]*\n)*^ [^;{}/]*= delete;[^\n]*$", re.MULTILINE)


def pages():
    """All pages in the order of the manual."""
    def rank(path):
        name = str(path)
        return FIRST_PAGES.index(name) if name in FIRST_PAGES else len(FIRST_PAGES)
    return sorted(tree.files("*.md"), key=rank)


def children(path):
    return [page for page in pages()
            if any(str(page).startswith(prefix) and parent == str(path)
                   for prefix, parent in PARENTS.items())]


def page_id(path):
    return re.sub(r"\W+", "-", str(path.with_suffix("")).lower())


def heading_id(path, text):
    return f"{page_id(path)}--{links.anchor(text)}"


def linked_path(path, target):
    """What a link of a page leads to in the tree; None if it leads elsewhere."""
    name = target.partition("#")[0]
    if re.match(r"[a-z]+:", target):
        return None
    return pathlib.Path(os.path.normpath(path.parent / name)) if name else path


def linked_files():
    """The source files and folders that pages link to."""
    linked = {linked_path(page, target)
              for page in pages() for _, line in links.prose(page) for target in links.LINK.findall(line)}
    return sorted(path for path in linked if path and path.suffix != ".md")


def target_of(path, target):
    """Where a link of a page leads to in the manual."""
    linked = linked_path(path, target)
    if linked is None:
        return target
    if linked.suffix != ".md":
        return str(FILES / linked)
    anchor = target.partition("#")[2]
    if anchor:
        return f"@ref {heading_id(linked, anchor)}"
    return "@ref index" if linked == FRONT_PAGE else f"@ref {page_id(linked)}"


def as_page(path):
    text = COMMENT.sub("", path.read_text(encoding="utf-8"))
    result, inside, titled = [], False, False
    for line in text.splitlines():
        if links.FENCE.match(line):
            inside = not inside
            line = line.replace("```c++", "```cpp")
        elif not inside:
            line = links.LINK.sub(lambda found: f"]({target_of(path, found[1])})", line)
            line = TARGET_NAME.sub(r"<tt>\1\\::\2</tt>", line)
            heading = links.HEADING.match(line)
            if heading and titled:
                line += f" {{#{heading_id(path, heading[1])}}}"
            elif heading:
                line += " {#mainpage}" if path == FRONT_PAGE else f" {{#{page_id(path)}}}"
                titled = True
        result.append(line)
    below = [f"- @subpage {page_id(child)}" for child in children(path)]
    if below:
        result += ["", "## See also", "", *below]
    return "\n".join(result) + "\n"


def without_deleted(text):
    """The lines keep their numbers, which are part of Doxygen's warnings."""
    return DELETED.sub(lambda found: "\n" * found[0].count("\n"), text)


if __name__ == "__main__":
    source = pathlib.Path(sys.argv[1])
    if source.is_absolute():
        source = source.relative_to(pathlib.Path.cwd())
    sys.stdout.write(
        as_page(source) if source.suffix == ".md"
        else without_deleted(source.read_text(encoding="utf-8")))
