// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_AGENT_PROCESS_H_
#define QOR_TOOLS_CHECK_AGENT_PROCESS_H_

#include <Ecore.h>

#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>

#include "agent/command-tracker.h"

namespace tools::check {

struct Command {
  std::string uuid;
  std::string type;
  std::string payload;  // JSON
};

// How a command ended, from an event of `qor agent`.
struct Answer {
  std::string outcome;
  int status = 0;
  std::string text;  // result or error; compact JSON, or the text of a JSON string
  bool is_json = false;
  double latency_ms = 0;

  // Whether a handler gave the answer, as opposed to the library or the tool.
  bool IsFromHandler() const { return outcome == "success" || outcome == "failed"; }
};

// Thrown when a signal interrupts a wait.
struct Interrupted : std::runtime_error {
  Interrupted() : std::runtime_error("interrupted") {}
};

// A `qor agent` in a child process, which the destructor ends. All have the same identity, so only
// one object may exist at a time. Ecore must be initialized. Every wait throws Interrupted when
// `is_interrupted` holds after an event, and std::runtime_error when the process exits by itself.
class AgentProcess {
 public:
  AgentProcess(const Timeouts& timeouts, std::function<bool()> is_interrupted);
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;
  ~AgentProcess();

  // Returns when the library has accepted or rejected the command.
  void Send(const Command& command);
  // Waits for the answer to a command that was sent. The outcome is "working" when there is none
  // long after all timeouts, because the handler was granted more time.
  Answer Await(const std::string& uuid);

  // The commands that a handler answered more than once.
  const std::set<std::string>& AnsweredTwice() const { return answered_twice_; }

 private:
  static Eina_Bool OnLines(void* self, int, void* event);
  static Eina_Bool OnEnd(void* self, int, void* event);
  void OnLine(const std::string& line);
  void Write(const std::string& line);
  bool WaitUntil(const std::function<bool()>& condition, double limit_seconds) const;

  const Timeouts timeouts_;
  const std::function<bool()> is_interrupted_;
  Ecore_Event_Handler* handlers_[2];
  Ecore_Exe* process_;
  bool ended_ = false;
  int echoes_ = 0;  // answers to requests that only mark a position in the stream
  std::map<std::string, Answer> answers_;
  std::set<std::string> answered_;
  std::set<std::string> answered_twice_;
};

}  // namespace tools::check

#endif
