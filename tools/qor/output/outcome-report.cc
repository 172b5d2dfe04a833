// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/outcome-report.h"

#include <string>

#include "json/text.h"

namespace tools::cli {

ExitCode ExitCodeOf(OutcomeKind kind) {
  switch (kind) {
    case OutcomeKind::kSuccess:
      return kSuccess;
    case OutcomeKind::kHandlerFailed:
      return kHandlerFailed;
    case OutcomeKind::kTimeout:
    case OutcomeKind::kNoAnswer:
      return kTimeout;
    case OutcomeKind::kNotSupported:
      return kNotSupported;
    case OutcomeKind::kLaunchFailed:
      return kLaunchFailed;
    case OutcomeKind::kNotAccepted:
      return kError;
  }
  return kError;
}

ToolError ToToolError(const Outcome& outcome) {
  std::string message = outcome.error;
  if (outcome.HasResponse()) {
    if (!json::FindSyntaxError(message)) message = json::Compact(message);
    message = "status " + std::to_string(outcome.status) + ": " + message;
  }
  std::string hint;
  if (outcome.kind == OutcomeKind::kNotSupported) {
    hint = "\"qor handlers\" lists the request types";
  } else if (outcome.kind == OutcomeKind::kLaunchFailed) {
    hint = "\"qor doctor\" checks its executable";
  }
  return ToolError(ExitCodeOf(outcome.kind), message, hint);
}

void WriteMembers(json::ValueWriter& json, const Outcome& outcome) {
  json.Member("uuid", outcome.uuid).Member("outcome", NameOf(outcome.kind));
  if (outcome.HasResponse()) json.Member("status", outcome.status);
  if (outcome.kind == OutcomeKind::kSuccess) {
    json::WriteJsonOrString(json.Key("result"), outcome.result);
  } else {
    json::WriteJsonOrString(json.Key("error"), outcome.error);
  }
  if (outcome.latency_ms > 0) json.Member("latencyMs", outcome.latency_ms);
}

}  // namespace tools::cli
