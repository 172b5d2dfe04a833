// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTCOME_H_
#define QOR_TOOLS_QOR_OUTCOME_H_

#include <string>

#include "failure.h"
#include "json-writer.h"

namespace qor {

enum class Ending {
  kSuccess,
  kHandlerFailed,
  kTimeout,
  kNoAnswer,
  kNotSupported,
  kLaunchRefused,
  kNotAccepted,
};

// How one command ended.
struct Outcome {
  Ending ending = Ending::kNotAccepted;
  std::string uuid;
  std::string type;
  // The sender's own.
  int mark = 0;
  // What the handler, or the library after a timeout, answered.
  int status = 0;
  std::string result;
  // Its error text, or the tool's own where nobody answered.
  std::string error;
  // From the sending on; 0 where that is not known.
  double milliseconds = 0;
};

// "success", "failed", "timeout", "no-answer", "not-supported", "launch-refused", "not-accepted".
const char* NameOf(Ending ending);
ExitCode ExitCodeOf(Ending ending);
// Whether there is a status, and with it a result or an error of somebody else's.
bool IsAnswered(Ending ending);

// For an outcome that is no success.
Failure FailureOf(const Outcome& outcome);
// The members "uuid", "outcome", "status", "result", "error", "latencyMs", as far as they are
// known, into the open object.
void WriteMembers(JsonWriter& json, const Outcome& outcome);

}  // namespace qor

#endif
