// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PROTOCOL_STDIO_AGENT_H_
#define QOR_TOOLS_QOR_PROTOCOL_STDIO_AGENT_H_

#include <qor/agent.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "base/stop-signals.h"
#include "base/timeouts.h"
#include "json/value-writer.h"
#include "qor/agent/handler-ends.h"
#include "qor/protocol/line-reader.h"
#include "qor/protocol/line-writer.h"
#include "qor/protocol/request.h"

namespace tools::cli {

// An agent for scripts: reads requests from standard input and writes events to standard output, in
// the JSON Lines protocol of docs/agent-protocol.md. Runs on the main loop's thread.
class StdioAgent {
 public:
  struct Options {
    // Empty for none: outcomes are then confirmed once they are written.
    std::string journal;
    bool replaces_damaged_journal = false;
    unsigned window = 1;
    Timeouts timeouts;
  };

  // Throws ToolError when the agent cannot be opened.
  explicit StdioAgent(const Options& options);

  // Runs the main loop until a signal arrives, or the input has ended and no command is pending.
  // Returns the exit status. Throws ToolError when standard output is closed.
  int Run();

 private:
  using Clock = std::chrono::steady_clock;
  struct Submitted {
    int line;
    Clock::time_point time;
  };

  qor::Agent::Settings SettingsOf(const Options& options);
  void OnLine(int number, std::string_view line);
  void OnError(int number, const ProtocolError& error);
  void Handle(int number, const CommandRequest& command);
  void Handle(int number, const ConfirmRequest& request);
  void Handle(int number, const HandlersRequest& request);
  void Handle(int number, const NegotiationRequest& negotiation);

  // Submits the commands that were read, with one write to the journal.
  void SubmitBatch();
  void OnSubmitted(const qor::Agent::Command& command, int line, int error);
  void OnOutcome(const qor::Agent::Outcome& outcome);
  void OnHandlerUpdate(qor_handler_update_type_e type, qor_handler_manager_handler_info_h info);
  bool OnExtension(const std::string& handler, const std::string& uuid, double seconds);
  void OnHandlerEnd(const HandlerEnd& end);
  void Write(json::ValueWriter& event) { output_.Write(event.EndObject().Text()); }

  const bool confirms_;
  bool grants_ = true;
  const std::unique_ptr<qor::Agent> agent_;
  LineWriter output_;
  const HandlerEnds handler_ends_;
  LineReader input_;
  StopSignals stop_;
  std::vector<qor::Agent::Command> batch_;
  std::vector<int> batch_lines_;
  std::unordered_map<std::string, Submitted> submitted_;  // by uuid, until the outcome
};

}  // namespace tools::cli

#endif
