// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_LIVE_CHECKS_H_
#define QOR_TOOLS_CHECK_LIVE_CHECKS_H_

#include <functional>
#include <map>
#include <set>
#include <string>

#include "check/agent-process.h"
#include "check/check.h"
#include "inspect/package.h"

namespace tools::check {

struct LiveOptions {
  Timeouts timeouts;
  // By request type; default {}.
  std::map<std::string, std::string> payloads;
  // Request types that are not sent.
  std::set<std::string> skipped;
};

// Sends commands to the handlers of a package that is installed below the current root folder.
// Checks that they connect, answer each of their request types, give a repeated command the same
// answer, and recover when the agent restarts and when they are killed. Ecore must be initialized.
// Throws the exceptions of AgentProcess.
void RunLiveChecks(const inspect::Package& package, const LiveOptions& options,
                   const std::function<bool()>& is_interrupted, const Reporter& report);

}  // namespace tools::check

#endif
