#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Writes the software bill of materials of the installed files, as SPDX JSON.

usage: sbom.py OUTPUT VERSION SECONDS ARCHITECTURE BINARY[,HEADERS...]...

The shared libraries that each BINARY needs are read from its dynamic section; their packages and
versions come from dpkg. HEADERS are Debian packages of header-only libraries, which are not
recorded in the binary. SECONDS since 1970 are the date of the document, so that the output is
reproducible.
"""

import datetime
import hashlib
import json
import os
import re
import subprocess
import sys

OWN_LICENCE = "Apache-2.0"
# By Debian source package: the licence of the parts that are linked.
LICENCES = {
    "cli11": "BSD-3-Clause",
    "efl": "BSD-2-Clause AND LGPL-2.1-or-later",
    "gcc": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "glibc": "LGPL-2.1-or-later",
    "libarchive": "BSD-2-Clause",
    "libsodium": "ISC",
    "pugixml": "MIT",
    "rapidjson": "MIT",
    "sqlite3": "blessing",
    "yaml-cpp": "MIT",
}


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE,
                          env=dict(os.environ, LC_ALL="C")).stdout


def dynamic_entries(path, kind):
    return re.findall(rf"\({kind}\).*\[(.*)\]", output_of("readelf", "-d", path))


def owners(sonames, architecture):
    """The Debian package that owns each soname."""
    if not sonames:
        return {}
    found = output_of("dpkg-query", "-S", *(f"*/{architecture}/{name}" for name in sonames))
    return {os.path.basename(path): package.split(":")[0]
            for package, path in (line.split(": ", 1) for line in found.splitlines())}


class Document:
    def __init__(self, version):
        self.root = self.identifier("qor-handler-manager")
        self.packages = {}
        self.relations = set()
        self.add("qor-handler-manager", version, OWN_LICENCE)
        self.relate("SPDXRef-DOCUMENT", "DESCRIBES", self.root)

    @staticmethod
    def identifier(name):
        return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]", "-", name)

    def add(self, name, version, licence, **more):
        identifier = self.identifier(name)
        self.packages[identifier] = {
            "SPDXID": identifier, "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
            "licenseConcluded": licence, "licenseDeclared": licence,
            "copyrightText": "NOASSERTION", **more}
        return identifier

    def add_debian(self, package):
        source, version = output_of("dpkg-query", "-W", "-f", "${source:Package} ${Version}",
                                    package).split()
        licence = LICENCES.get(re.sub(r"^gcc-[0-9]+$", "gcc", source))
        if licence is None:
            sys.exit(f"sbom.py: unknown licence of {package} "
                     f"(add its source package {source} to LICENCES)")
        return self.add(package, version, licence, externalRefs=[{
            "referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
            "referenceLocator": f"pkg:deb/debian/{package}@{version}".replace("+", "%2B")}])

    def relate(self, one, relation, other):
        self.relations.add((one, relation, other))

    def text(self, seconds):
        body = {
            "packages": [self.packages[name] for name in sorted(self.packages)],
            "relationships": [{"spdxElementId": one, "relationshipType": relation,
                               "relatedSpdxElement": other}
                              for one, relation, other in sorted(self.relations)]}
        digest = hashlib.sha256(json.dumps(body, sort_keys=True).encode()).hexdigest()
        date = datetime.datetime.fromtimestamp(seconds, datetime.timezone.utc)
        return json.dumps({
            "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
            "name": "qor-handler-manager",
            "documentNamespace": f"https://spdx.org/spdxdocs/qor-handler-manager-{digest}",
            "creationInfo": {"created": date.strftime("%Y-%m-%dT%H:%M:%SZ"),
                             "creators": ["Tool: qor-handler-manager-sbom"]},
            **body}, indent=2) + "\n"


def main(output, version, seconds, architecture, *binaries):
    document = Document(version)
    headers_of = {path: headers for path, *headers in (binary.split(",") for binary in binaries)}
    own = {}
    for path in headers_of:
        name = (dynamic_entries(path, "SONAME") or [os.path.basename(path)])[0]
        own[name] = document.add(name, version, OWN_LICENCE)
        document.relate(document.root, "CONTAINS", own[name])
    needs = {path: dynamic_entries(path, "NEEDED") for path in headers_of}
    packages = owners({name for names in needs.values() for name in names} - own.keys(),
                      architecture)
    debian = {name: document.add_debian(name)
              for name in {*packages.values(), *sum(headers_of.values(), [])}}
    for path, names in needs.items():
        name = (dynamic_entries(path, "SONAME") or [os.path.basename(path)])[0]
        for needed in names:
            other = own[needed] if needed in own else debian[packages[needed]]
            document.relate(own[name], "DYNAMIC_LINK", other)
        for package in headers_of[path]:
            document.relate(own[name], "STATIC_LINK", debian[package])
    with open(output, "w", encoding="utf-8") as file:
        file.write(document.text(int(seconds)))


if __name__ == "__main__":
    if len(sys.argv) < 6:
        sys.exit(__doc__.strip())
    main(*sys.argv[1:])
