// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent/outcome.h"

namespace tools {

const char* NameOf(OutcomeKind kind) {
  switch (kind) {
    case OutcomeKind::kSuccess:
      return "success";
    case OutcomeKind::kHandlerFailed:
      return "failed";
    case OutcomeKind::kTimeout:
      return "timeout";
    case OutcomeKind::kNoAnswer:
      return "no-answer";
    case OutcomeKind::kNotSupported:
      return "not-supported";
    case OutcomeKind::kLaunchFailed:
      return "launch-failed";
    case OutcomeKind::kNotAccepted:
      return "not-accepted";
  }
  return "";
}

}  // namespace tools
