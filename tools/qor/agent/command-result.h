// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_AGENT_COMMAND_RESULT_H_
#define QOR_TOOLS_QOR_AGENT_COMMAND_RESULT_H_

#include <qor/agent.h>

#include <chrono>
#include <optional>

#include "json/value-writer.h"
#include "qor/agent/handler-ends.h"
#include "qor/output/exit-codes.h"
#include "qor/output/tool-error.h"

namespace tools::cli {

// How a command ended, or why it was not accepted.
struct CommandResult {
  // Of a rejected command only `uuid` and `type`.
  qor::Agent::Outcome outcome = {};
  // Of the submission, a qor_agent_error_e.
  int rejection = QOR_AGENT_ERROR_NONE;
  // Of a command that was not delivered because the process of its handler has ended: how it ended.
  std::optional<HandlerEnd> handler_end = {};
  // From the submission to the outcome. Not known for a command that another process submitted.
  std::optional<std::chrono::duration<double, std::milli>> latency = {};

  bool IsRejected() const { return rejection != QOR_AGENT_ERROR_NONE; }
  bool IsSuccess() const { return !IsRejected() && outcome.kind == QOR_AGENT_SUCCEEDED; }
  // Whether a handler has answered.
  bool HasAnswer() const {
    return IsSuccess() || (!IsRejected() && outcome.kind == QOR_AGENT_FAILED);
  }
};

// "succeeded", "failed", "not-delivered", "unknown" or "rejected".
const char* NameOf(const CommandResult& result);

ExitCode ExitCodeOf(const CommandResult& result);

// Converts a result other than success.
ToolError ToToolError(const CommandResult& result);

// Adds the members "uuid", "outcome", "reason", "status", "result" or "error", "latencyMs" to the
// open object, without those that are not known.
void WriteMembers(json::ValueWriter& json, const CommandResult& result);

}  // namespace tools::cli

#endif
