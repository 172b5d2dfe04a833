// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/agent/open-agent.h"

#include <iostream>
#include <string>
#include <utility>

#include "qor/output/tool-error.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

struct Log {
  bool is_open = false;
  // What was logged before the agent was open.
  std::string opening;
};

void Print(const std::string& line) { std::cerr << "qor: " << text::Printable(line) << std::endl; }

std::string HintFor(int error, const std::string& journal) {
  switch (error) {
    case QOR_AGENT_ERROR_JOURNAL_DAMAGED:
      return "--replace-damaged-journal renames it to " + journal +
             ".damaged and begins a new one; its commands are lost";
    case QOR_AGENT_ERROR_BUSY:
      return "stop the process that uses it, or use another journal";
    case QOR_AGENT_ERROR_JOURNAL_VERSION:
      return "use the version of qor that wrote it, or another journal";
    case QOR_AGENT_ERROR_PERMISSION_DENIED:
    case QOR_AGENT_ERROR_READ_ONLY:
      return "the file and its folder must be writable";
    default:
      return "";
  }
}

}  // namespace

std::unique_ptr<qor::Agent> OpenAgent(qor::Agent::Settings settings) {
  const auto log = std::make_shared<Log>();
  settings.on_log = [log](const std::string& line) {
    if (log->is_open) return Print(line);
    log->opening += (log->opening.empty() ? "" : "; ") + line;
  };
  const std::string journal = settings.journal;
  try {
    auto agent = std::make_unique<qor::Agent>(std::move(settings));
    log->is_open = true;
    if (!log->opening.empty()) Print(log->opening);
    return agent;
  } catch (const qor::AgentError& error) {
    const std::string& cause = log->opening.empty() ? journal : log->opening;
    throw ToolError(kError, error.what() + (cause.empty() ? "" : ": " + cause),
                    HintFor(error.Code(), journal));
  }
}

}  // namespace tools::cli
