#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Checks that every file states its licence, in the file or in REUSE.toml.

usage: check.py FOLDER    (a git working tree)
"""

import pathlib
import re
import subprocess
import sys
import tomllib

LICENCE = re.compile(rb"SPDX-License-Identifier: Apache-2\.0\b")


def annotated(folder):
    """The files that REUSE.toml covers, and its patterns that match no file."""
    files, unmatched = set(), []
    for annotation in tomllib.loads((folder / "REUSE.toml").read_text())["annotations"]:
        for pattern in annotation["path"]:
            found = {path for path in folder.glob(pattern) if path.is_file()}
            if pattern.endswith("**"):
                found = {path for path in folder.glob(pattern + "/*") if path.is_file()}
            files |= found
            if not found:
                unmatched.append(pattern)
    return files, unmatched


def main(folder):
    folder = pathlib.Path(folder)
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           cwd=folder, check=True, stdout=subprocess.PIPE).stdout
    covered, unmatched = annotated(folder)
    errors = [f"REUSE.toml: no file matches {pattern}" for pattern in unmatched]
    for name in filter(None, names.decode().split("\0")):
        path = folder / name
        # git lists a removed file until the removal is staged.
        if path.is_file() and path not in covered and not LICENCE.search(path.read_bytes()):
            errors.append(f"{name}: no licence (add SPDX-License-Identifier: Apache-2.0, "
                          "or add the file to REUSE.toml if it cannot contain comments)")
    if errors:
        sys.exit("\n".join(errors))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__.strip())
    main(sys.argv[1])
