// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "outcome.h"

#include "json-text.h"

namespace qor {

const char* NameOf(Ending ending) {
  switch (ending) {
    case Ending::kSuccess:
      return "success";
    case Ending::kHandlerFailed:
      return "failed";
    case Ending::kTimeout:
      return "timeout";
    case Ending::kNoAnswer:
      return "no-answer";
    case Ending::kNotSupported:
      return "not-supported";
    case Ending::kLaunchRefused:
      return "launch-refused";
    case Ending::kNotAccepted:
      return "not-accepted";
  }
  return "";
}

ExitCode ExitCodeOf(Ending ending) {
  switch (ending) {
    case Ending::kSuccess:
      return kSuccess;
    case Ending::kHandlerFailed:
      return kHandlerFailed;
    case Ending::kTimeout:
    case Ending::kNoAnswer:
      return kTimeout;
    case Ending::kNotSupported:
      return kNotSupported;
    case Ending::kLaunchRefused:
      return kLaunchRefused;
    case Ending::kNotAccepted:
      return kError;
  }
  return kError;
}

bool IsAnswered(Ending ending) {
  return ending == Ending::kSuccess || ending == Ending::kHandlerFailed ||
         ending == Ending::kTimeout;
}

Failure FailureOf(const Outcome& outcome) {
  std::string what = outcome.error;
  if (IsAnswered(outcome.ending)) {
    if (!FindJsonFault(what)) what = Compact(what);
    what = "status " + std::to_string(outcome.status) + ": " + what;
  }
  std::string cure;
  if (outcome.ending == Ending::kNotSupported) {
    cure = "What is served is listed by: qor handlers";
  } else if (outcome.ending == Ending::kLaunchRefused) {
    cure = "Is its executable there, and may it be run?";
  }
  return Failure(ExitCodeOf(outcome.ending), what, cure);
}

void WriteMembers(JsonWriter& json, const Outcome& outcome) {
  json.Member("uuid", outcome.uuid).Member("outcome", NameOf(outcome.ending));
  if (IsAnswered(outcome.ending)) json.Member("status", outcome.status);
  if (outcome.ending == Ending::kSuccess) {
    WriteJsonOrText(json.Key("result"), outcome.result);
  } else {
    WriteJsonOrText(json.Key("error"), outcome.error);
  }
  if (outcome.milliseconds > 0) json.Member("latencyMs", outcome.milliseconds);
}

}  // namespace qor
