#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Checks the relative links of all documents, and that the blocks of each document are tested.

usage: links.py FOLDER DOCUMENT...

FOLDER is a git working tree, each DOCUMENT one whose blocks are tested.
"""

import pathlib
import subprocess
import sys

import markdown


def broken_links(path):
    for target, line in markdown.links(path.read_text()):
        if "://" in target or target.startswith("mailto:"):
            continue
        name, _, anchor = target.partition("#")
        file = path.parent / name if name else path
        if not file.exists():
            yield f"{path}:{line}: broken link: {target}"
        elif anchor and anchor not in markdown.anchors(file.read_text()):
            yield f"{path}:{line}: broken link: {file.name} has no heading #{anchor}"


def main(folder, tested):
    folder = pathlib.Path(folder)
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard",
                            "*.md"],
                           cwd=folder, check=True, text=True, stdout=subprocess.PIPE).stdout
    documents = [folder / name for name in names.split("\0") if name and (folder / name).exists()]
    errors = [error for path in documents for error in broken_links(path)]
    errors += [f"{path}: add it to tests/documents/CMakeLists.txt"
               for path in documents if path not in map(pathlib.Path, tested)]
    if errors or not documents:
        sys.exit("\n".join(errors) or "no documents found")


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__.strip())
    main(sys.argv[1], sys.argv[2:])
