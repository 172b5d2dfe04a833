// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_OUTCOME_REPORT_H_
#define QOR_TOOLS_QOR_OUTPUT_OUTCOME_REPORT_H_

#include "agent/outcome.h"
#include "json/value-writer.h"
#include "qor/output/exit-codes.h"
#include "qor/output/tool-error.h"

namespace tools::cli {

ExitCode ExitCodeOf(OutcomeKind kind);

// Converts an outcome other than success.
ToolError ToToolError(const Outcome& outcome);

// Adds the members "uuid", "outcome", "status", "result" or "error", "latencyMs" to the open
// object, without those that are not known.
void WriteMembers(json::ValueWriter& json, const Outcome& outcome);

}  // namespace tools::cli

#endif
