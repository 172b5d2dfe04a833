// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PROTOCOL_STDIO_AGENT_H_
#define QOR_TOOLS_QOR_PROTOCOL_STDIO_AGENT_H_

#include <string>
#include <string_view>

#include "agent/command-tracker.h"
#include "base/stop-signals.h"
#include "qor/protocol/line-reader.h"
#include "qor/protocol/line-writer.h"
#include "qor/protocol/request.h"

namespace tools::cli {

// An agent for scripts: reads requests from standard input and writes events to standard output, in
// the JSON Lines protocol of docs/agent-protocol.md. Runs on the main loop's thread.
class StdioAgent {
 public:
  // Throws std::runtime_error when the library does not start.
  StdioAgent();

  // Runs the main loop until a signal arrives, or the input has ended and no command is pending.
  // Returns the exit status. Throws ToolError when standard output is closed.
  int Run();

 private:
  void OnLine(int number, std::string_view line);
  void OnError(int number, const ProtocolError& error);
  void Handle(int number, const CommandRequest& command);
  void Handle(int number, const ConfigurationRequest& configuration);
  void Handle(int number, const HandlersRequest& handlers);
  void Handle(int number, const NegotiationRequest& negotiation);

  void OnOutcome(const char* event, const Outcome& outcome);
  void OnUpdate(const Agent::Update& update);
  bool Negotiate(const std::string& handler, const std::string& uuid, double seconds);

  Timeouts timeouts_;
  bool grant_ = true;
  CommandTracker tracker_;
  LineWriter output_;
  LineReader input_;
  StopSignals stop_;
};

}  // namespace tools::cli

#endif
