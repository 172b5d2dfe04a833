// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_FINDING_H_
#define QOR_TOOLS_INSPECT_FINDING_H_

#include <string>

namespace tools::inspect {

// Where something is wrong, as far as that is known.
struct Location {
  std::string file = {};
  int line = 0;
  std::string key = {};
};

// What of a package a finding is about.
enum class Topic {
  kManifest,
  kApplication,
  kExecutable,
  kMetadata,
  kConfiguration,
  kPriority,
  kPrivileges
};

// Something wrong: what, where, and what to do about it (empty: nothing to say).
struct Finding {
  std::string message;
  std::string hint = {};
  Location location = {};
  Topic topic = Topic::kManifest;
};

// "<file>:<line>: <key>: <message>", without what is not known and without the hint.
std::string ToText(const Finding& finding);

}  // namespace tools::inspect

#endif
