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
  std::string hint = {};  // empty for a passed check
  inspect::Location location = {};
  std::string name = {};  // may be empty
};
using Checks = std::vector<Check>;

// Called with each result as soon as it is known.
using Reporter = std::function<void(const Check&)>;

}  // namespace tools::check

#endif
