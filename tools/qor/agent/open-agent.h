// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_AGENT_OPEN_AGENT_H_
#define QOR_TOOLS_QOR_AGENT_OPEN_AGENT_H_

#include <qor/agent.h>

#include <memory>

namespace tools::cli {

// Opens an agent that writes its log to standard error. Throws ToolError with the cause.
std::unique_ptr<qor::Agent> OpenAgent(qor::Agent::Settings settings);

}  // namespace tools::cli

#endif
