// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_FAILURE_H_
#define QOR_TOOLS_QOR_FAILURE_H_

#include <stdexcept>
#include <string>
#include <utility>

#include "exit-codes.h"
#include "inspect/finding.h"

namespace qor {

using inspect::Place;

// Ends the tool: what went wrong, where, and what to do about it.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& what, std::string cure = "", Place place = {})
      : std::runtime_error(what), code_(code), cure_(std::move(cure)), place_(std::move(place)) {}

  Failure(ExitCode code, const inspect::Finding& finding)
      : Failure(code, finding.message, finding.cure, finding.place) {}

  ExitCode Code() const { return code_; }
  // Empty when there is nothing to say.
  const std::string& Cure() const { return cure_; }
  const Place& Where() const { return place_; }

 private:
  ExitCode code_;
  std::string cure_;
  Place place_;
};

// One line a part: "qor: <file>:<line>: <key>: <what>" and "  <cure>".
std::string ToText(const Failure& failure);
// {"error":{"message":...,"file":...,"line":...,"key":...,"cure":...,"exitCode":...}}, without what
// is not known.
std::string ToJson(const Failure& failure);

}  // namespace qor

#endif
