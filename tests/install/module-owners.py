#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Checks that each target links exactly the platform modules whose headers it includes.

usage: module-owners.py GRAPH COMMANDS MODULES

GRAPH is the output of cmake --graphviz, COMMANDS a compile_commands.json, MODULES
device-modules.txt. A header next to a target's sources belongs to that target.
"""

import collections
import json
import pathlib
import re
import sys

import modules

INCLUDE = re.compile(r"^#include <([^>]+)>", re.M)


def linked_modules(graph):
    """The modules that each target links directly."""
    linked = collections.defaultdict(set)
    for target, module in re.findall(r"// (\S+) -> platform_(\S+)$", graph, re.M):
        linked[target].add(module)
    return linked


def included_modules(commands, owners):
    """The modules whose headers each target includes, for all targets that compile sources."""
    included = {}
    for command in commands:
        target = re.search(r"CMakeFiles/([^/]+)\.dir/", command["command"]).group(1)
        included.setdefault(target, set())
        source = pathlib.Path(command["file"])
        files = [source, *source.parent.glob("*.h")]
        for header in INCLUDE.findall("".join(file.read_text() for file in files)):
            if header in owners:
                included[target].add(owners[header])
    return included


def main(graph, commands, module_table):
    owners = {header: module.name
              for module in modules.read_modules(module_table) for header in module.headers}
    owners["Ecore.h"] = "ecore"
    linked = linked_modules(pathlib.Path(graph).read_text())
    included = included_modules(json.loads(pathlib.Path(commands).read_text()), owners)
    if sum(map(bool, included.values())) < 2:
        sys.exit("fewer than two targets include the platform's headers")
    errors = []
    # Interface libraries compile nothing; their modules are checked at the targets that use them.
    for target in sorted(included):
        # platform::platform, an empty target in a device build.
        linked[target].discard("none")
        if target.startswith("platform_"):
            continue
        errors += [f"{target} includes headers of {module} and does not link it"
                   for module in sorted(included[target] - linked[target])]
        errors += [f"{target} links {module} and includes none of its headers"
                   for module in sorted(linked[target] - included[target])]
    return "\n".join(errors) or None


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
