// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_FINDING_H_
#define QOR_TOOLS_INSPECT_FINDING_H_

#include <string>

namespace tools::inspect {

// Unknown parts are empty or 0.
struct Location {
  std::string file = {};
  int line = 0;
  std::string key = {};
};

// The part of a package that a finding concerns.
enum class Topic {
  kManifest,
  kApplication,
  kExecutable,
  kMetadata,
  kConfiguration,
  kPriority,
  kPrivileges
};

// A problem in a package.
struct Finding {
  std::string message;
  std::string hint = {};  // how to fix it; may be empty
  Location location = {};
  Topic topic = Topic::kManifest;
};

// "<file>:<line>: <key>: <message>", without unknown parts and without the hint.
std::string ToText(const Finding& finding);

}  // namespace tools::inspect

#endif
