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
  // By request type; the others get {}.
  std::map<std::string, std::string> payloads;
  // Request types that are left out.
  std::set<std::string> skipped;
};

// Sends real commands to the handlers of a package that is installed below the current root:
// whether they connect, answer each of their request types, take a command that comes again for the
// same, and get over the end of the agent and of themselves. Ecore has been started. Throws what
// AgentProcess does.
void CheckAlive(const inspect::Package& package, const LiveOptions& options,
                const std::function<bool()>& is_interrupted, const Reporter& report);

}  // namespace tools::check

#endif
