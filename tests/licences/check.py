#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Every file of the project names its licence, in itself or in REUSE.toml.

usage: check.py FOLDER    a git working tree
"""

import pathlib
import re
import subprocess
import sys
import tomllib

LICENCE = re.compile(rb"SPDX-License-Identifier: Apache-2\.0\b")


def listed(folder):
    """The files that REUSE.toml speaks for; each of its patterns must still speak for one."""
    files, idle = set(), []
    for annotation in tomllib.loads((folder / "REUSE.toml").read_text())["annotations"]:
        for pattern in annotation["path"]:
            found = {path for path in folder.glob(pattern) if path.is_file()}
            if pattern.endswith("**"):
                found = {path for path in folder.glob(pattern + "/*") if path.is_file()}
            files |= found
            if not found:
                idle.append(pattern)
    return files, idle


def main(folder):
    folder = pathlib.Path(folder)
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           cwd=folder, check=True, stdout=subprocess.PIPE).stdout
    spoken_for, idle = listed(folder)
    faults = [f"REUSE.toml: no file is {pattern}" for pattern in idle]
    for name in filter(None, names.decode().split("\0")):
        path = folder / name
        # A file that is about to be removed is still listed.
        if path.is_file() and path not in spoken_for and not LICENCE.search(path.read_bytes()):
            faults.append(f"{name}: add the line SPDX-License-Identifier: Apache-2.0, "
                          "or the file to REUSE.toml where it cannot hold one")
    if faults:
        sys.exit("\n".join(faults))


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__.strip())
    main(sys.argv[1])
