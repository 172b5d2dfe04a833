#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Every relative link of every document leads somewhere, and every document is tested.

usage: links.py FOLDER DOCUMENT...    a git working tree; the documents whose blocks are tested
"""

import pathlib
import subprocess
import sys

import markdown


def faults_of(path):
    for target, line in markdown.links(path.read_text()):
        if "://" in target or target.startswith("mailto:"):
            continue
        name, _, anchor = target.partition("#")
        goal = path.parent / name if name else path
        if not goal.exists():
            yield f"{path}:{line}: there is no {target}"
        elif anchor and anchor not in markdown.anchors(goal.read_text()):
            yield f"{path}:{line}: {goal.name} has no title #{anchor}"


def main(folder, tested):
    folder = pathlib.Path(folder)
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard",
                            "*.md"],
                           cwd=folder, check=True, text=True, stdout=subprocess.PIPE).stdout
    documents = [folder / name for name in names.split("\0") if name and (folder / name).exists()]
    faults = [fault for path in documents for fault in faults_of(path)]
    faults += [f"{path}: add it to tests/documents/CMakeLists.txt"
               for path in documents if path not in map(pathlib.Path, tested)]
    if faults or not documents:
        sys.exit("\n".join(faults) or "there are no documents")


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__.strip())
    main(sys.argv[1], sys.argv[2:])
