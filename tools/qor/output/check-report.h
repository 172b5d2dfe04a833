// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_CHECK_REPORT_H_
#define QOR_TOOLS_QOR_OUTPUT_CHECK_REPORT_H_

#include <string>

#include "check/check.h"
#include "json/value-writer.h"
#include "qor/output/exit-codes.h"

namespace tools::cli {

// "pass", "warn", "fail".
const char* NameOf(check::Check::Level level);

// "<level>  <name>: <file>:<line>: <key>: <message>" without unknown parts, and the hint on a line
// of its own. For standard output; coloured when that is a terminal.
std::string ToText(const check::Check& check);

// An array of objects "name", "level", "message", "file", "line", "key", "hint".
void WriteChecks(json::ValueWriter& json, const check::Checks& checks);

// kError if a check has failed.
ExitCode ExitCodeOf(const check::Checks& checks);

}  // namespace tools::cli

#endif
