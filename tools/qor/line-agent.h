// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_LINE_AGENT_H_
#define QOR_TOOLS_QOR_LINE_AGENT_H_

#include <string>
#include <string_view>

#include "agent-lines.h"
#include "courier.h"
#include "line-reader.h"
#include "line-writer.h"
#include "stop-signals.h"

namespace qor {

// An agent for scripts: does what the lines of standard input say and tells what happens in lines
// on standard output. docs/agent-lines.md describes both.
class LineAgent {
 public:
  // Throws std::runtime_error when the library does not start.
  LineAgent();

  // Until the input ends and no command is pending, or a signal comes. Returns the exit status.
  // Throws Failure when standard output is closed.
  int Run();

 private:
  void OnLine(int number, std::string_view line);
  void OnFault(int number, const LineFault& fault);
  void Do(int number, const CommandLine& command);
  void Do(int number, const ConfigurationLine& configuration);
  void Do(int number, const HandlersLine& handlers);
  void Do(int number, const NegotiationLine& negotiation);

  void OnOutcome(const char* event, const Outcome& outcome);
  void OnUpdate(const tools::Agent::Update& update);
  bool Negotiate(const std::string& handler, const std::string& uuid, double seconds);

  Timeouts timeouts_;
  bool grant_ = true;
  Courier courier_;
  LineWriter output_;
  LineReader input_;
  StopSignals stop_;
};

}  // namespace qor

#endif
