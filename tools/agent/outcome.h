// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_AGENT_OUTCOME_H_
#define QOR_TOOLS_AGENT_OUTCOME_H_

#include <string>

namespace tools {

enum class OutcomeKind {
  kSuccess,
  kHandlerFailed,
  // A timeout of the library.
  kTimeout,
  // A timeout of CommandTracker.
  kNoAnswer,
  kNotSupported,
  kLaunchFailed,
  // The library rejected the command for another reason, or its uuid is pending.
  kNotAccepted,
};

// How one command ended.
struct Outcome {
  OutcomeKind kind = OutcomeKind::kNotAccepted;
  std::string uuid;
  std::string type;
  // The caller's, passed through.
  int tag = 0;
  // Of the response; only with HasResponse().
  int status = 0;
  std::string result;
  // Of the response, else a message of this library.
  std::string error;
  // Since the command was sent; 0 when unknown.
  double latency_ms = 0;

  // Whether the library called the response callback, after an answer or a timeout.
  bool HasResponse() const {
    return kind == OutcomeKind::kSuccess || kind == OutcomeKind::kHandlerFailed ||
           kind == OutcomeKind::kTimeout;
  }
};

// "success", "failed", "timeout", "no-answer", "not-supported", "launch-failed", "not-accepted".
const char* NameOf(OutcomeKind kind);

}  // namespace tools

#endif
