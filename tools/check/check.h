// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_CHECK_H_
#define QOR_TOOLS_CHECK_CHECK_H_

#include <functional>
#include <string>
#include <vector>

#include "inspect/finding.h"

namespace tools::check {

// One line of a report.
struct Check {
  enum class Level { kPass, kWarn, kFail };
  Level level;
  std::string message;
  std::string hint = {};  // empty when all is well
  inspect::Location location = {};
  std::string name = {};  // what was looked at; empty where the message tells
};
using Checks = std::vector<Check>;

// Takes a check as soon as it is done.
using Reporter = std::function<void(const Check&)>;

}  // namespace tools::check

#endif
