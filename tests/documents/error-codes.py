#!/usr/bin/env python3
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
"""Compares the error codes, statuses and error texts of a document with those of the sources.

usage: error-codes.py DOCUMENT SOURCES
"""

import pathlib
import re
import sys

import markdown


def values(text, prefix):
    """The names and values of the enumerators with this prefix."""
    return {(name, int(number))
            for name, number in re.findall(rf"\b({prefix}\w+) = (-?\d+)\b", text)}


def main(document, sources):
    rows = markdown.rows(document.read_text())
    header = (sources / "include/qor_handler_manager.h").read_text()
    sdk = (sources / "handler/include/qor/handler.h").read_text()
    errors = []

    def compare(subject, expected, actual):
        errors.extend(f"{subject}: {item} is missing" for item in sorted(expected - actual))
        errors.extend(f"{subject}: {item} is not in the sources"
                      for item in sorted(actual - expected))
        if not expected:
            errors.append(f"{subject}: none found in the sources")

    named = {(row[1].strip("`"), int(row[0])) for row in rows if row[1].startswith("`QOR_")}
    compare("codes", values(header, "QOR_HANDLER_MANAGER_ERROR_")
            | {value for value in values(header, "QOR_REQUEST_STATUS_")
               if value[1] in (0, 1)}, named)

    texts = {tuple(cell.strip("`") for cell in row[:3]) for row in rows if len(row) == 4}
    texts = {row for row in texts if row[0].isdigit()}
    library = re.findall(r'"ErrorCode": (\d+),\s*"ErrorDomain": "([^"]*)",\s*'
                         r'"ErrorDescription": "([^"]*)"',
                         (sources / "src/common/timeout-errors.h").read_text())
    compare("the library's errors", set(library), {row for row in texts if row[1] == "QOR-CLIENT"})
    sdk_texts = {row for row in texts if row[1] == "QOR-HANDLER"}
    compare("the SDK's errors", {str(number) for _, number in values(sdk, "k")},
            {row[0] for row in sdk_texts})
    source_text = "".join(path.read_text() for path in (sources / "handler/src").glob("*.cc"))
    errors.extend(f"the SDK's errors: text not in the sources: {row[2]}" for row in sdk_texts
                  if row[0] != "3001" and f'"{row[2].replace("TYPE", "")}"' not in source_text)

    statuses = {int(row[0]) for row in rows if len(row) == 2 and row[0].isdigit()}
    codes = values((sources / "tools/qor/output/exit-codes.h").read_text(), "k")
    compare("exit statuses", {number for _, number in codes}, statuses)
    if errors:
        sys.exit("\n".join(f"{document}: {error}" for error in errors))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__.strip())
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]))
