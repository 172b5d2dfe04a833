// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/agent/command-result.h"

#include <string>

#include "inspect/package.h"
#include "inspect/similar.h"
#include "json/text.h"

namespace tools::cli {

namespace {

const char* NameOfRejection(int error) {
  switch (error) {
    case QOR_AGENT_ERROR_ALREADY_KNOWN:
      return "already-known";
    case QOR_AGENT_ERROR_CONFLICT:
      return "conflict";
    case QOR_AGENT_ERROR_TOO_LONG:
      return "too-long";
    case QOR_AGENT_ERROR_INVALID_TEXT:
      return "invalid-text";
    case QOR_AGENT_ERROR_LIMIT:
      return "limit";
    case QOR_AGENT_ERROR_NO_SPACE:
      return "no-space";
    case QOR_AGENT_ERROR_READ_ONLY:
      return "read-only";
    default:
      return "error";
  }
}

// Null for an outcome that needs no reason.
const char* ReasonOf(const CommandResult& result) {
  if (result.IsRejected()) return NameOfRejection(result.rejection);
  if (result.handler_end) return result.handler_end->pid == 0 ? "launch-failed" : "handler-exited";
  switch (result.outcome.reason) {
    case QOR_AGENT_REASON_NONE:
      return nullptr;
    case QOR_AGENT_REASON_NO_HANDLER:
      return "no-handler";
    case QOR_AGENT_REASON_LAUNCH_FAILED:
      return "launch-failed";
    case QOR_AGENT_REASON_NOT_CONNECTED:
      return "not-connected";
    case QOR_AGENT_REASON_NOT_SENT:
      return "not-sent";
  }
  return nullptr;
}

std::string RejectionText(int error) {
  std::string text = qor_agent_error_text(error);
  if (error == QOR_AGENT_ERROR_TOO_LONG) {
    text += " (at most " + std::to_string(QOR_AGENT_MAX_UUID) + " bytes of uuid, " +
            std::to_string(QOR_AGENT_MAX_REQUEST_TYPE) + " of request type, " +
            std::to_string(QOR_AGENT_MAX_PAYLOAD) + " of payload)";
  }
  return text;
}

std::string NoHandlerHint(const std::string& type) {
  const std::string hint = "\"qor explain " + type + "\" says why";
  try {
    for (const auto& package : inspect::InspectInstalledPackages()) {
      for (const auto& application : package.applications) {
        for (const auto& served : application.request_types) {
          if (inspect::IsNearMiss(type, served)) return "did you mean " + served + "? " + hint;
        }
      }
    }
  } catch (const platform::DatabaseError&) {
    // Reported by "qor explain".
  }
  return hint;
}

struct Explanation {
  std::string message;
  std::string hint;
};

// For a command that was accepted and not answered.
Explanation Explain(const CommandResult& result) {
  if (const auto& end = result.handler_end) {
    return {Describe(*end), end->pid == 0 ? "\"qor doctor\" checks the executable"
                                          : "\"qor logs " + end->handler + "\" prints its output"};
  }
  const qor::Agent::Outcome& outcome = result.outcome;
  const std::string& type = outcome.type;
  switch (outcome.reason) {
    case QOR_AGENT_REASON_NO_HANDLER:
      return {"no handler serves " + type, NoHandlerHint(type)};
    case QOR_AGENT_REASON_LAUNCH_FAILED:
      return {"the handler of " + type + " could not be launched",
              "\"qor doctor\" checks its executable"};
    case QOR_AGENT_REASON_NOT_CONNECTED:
      return {"the handler of " + type + " was launched and did not connect",
              "\"qor explain " + type + "\" names it, \"qor logs\" prints its output"};
    case QOR_AGENT_REASON_NOT_SENT:
      return {type + " was not sent: earlier commands of the handler took until the deadline",
              "allow more time, or more commands in flight"};
    case QOR_AGENT_REASON_NONE:
      break;
  }
  return {"no answer by the deadline: " + type + " may have been executed",
          "\"qor explain " + type + "\" names the handler; \"qor record\" shows what it received"};
}

}  // namespace

const char* NameOf(const CommandResult& result) {
  if (result.IsRejected()) return "rejected";
  switch (result.outcome.kind) {
    case QOR_AGENT_SUCCEEDED:
      return "succeeded";
    case QOR_AGENT_FAILED:
      return "failed";
    case QOR_AGENT_NOT_DELIVERED:
      return "not-delivered";
    case QOR_AGENT_UNKNOWN:
      return "unknown";
  }
  return "";
}

ExitCode ExitCodeOf(const CommandResult& result) {
  if (result.IsRejected()) return kError;
  if (result.IsSuccess()) return kSuccess;
  if (result.HasAnswer()) return kHandlerFailed;
  if (result.handler_end) return kLaunchFailed;
  switch (result.outcome.reason) {
    case QOR_AGENT_REASON_NO_HANDLER:
      return kNoHandler;
    case QOR_AGENT_REASON_LAUNCH_FAILED:
      return kLaunchFailed;
    default:
      return kNoAnswer;
  }
}

ToolError ToToolError(const CommandResult& result) {
  const ExitCode code = ExitCodeOf(result);
  if (result.IsRejected()) return {code, "command rejected: " + RejectionText(result.rejection)};
  if (result.HasAnswer()) {
    std::string error = result.outcome.error;
    if (!json::FindSyntaxError(error)) error = json::Compact(error);
    return {code, "status " + std::to_string(result.outcome.status) + ": " + error};
  }
  const Explanation explanation = Explain(result);
  return {code, explanation.message, explanation.hint};
}

void WriteMembers(json::ValueWriter& json, const CommandResult& result) {
  const qor::Agent::Outcome& outcome = result.outcome;
  json.Member("uuid", outcome.uuid).Member("outcome", NameOf(result));
  if (const char* reason = ReasonOf(result)) json.Member("reason", reason);
  if (result.HasAnswer()) json.Member("status", outcome.status);
  if (result.IsSuccess()) {
    json::WriteJsonOrString(json.Key("result"), outcome.result);
  } else if (result.HasAnswer()) {
    json::WriteJsonOrString(json.Key("error"), outcome.error);
  } else {
    json.Member("error",
                result.IsRejected() ? RejectionText(result.rejection) : Explain(result).message);
  }
  if (result.latency) json.Member("latencyMs", result.latency->count());
}

}  // namespace tools::cli
