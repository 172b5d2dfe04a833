// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_CHECK_AGENT_PROCESS_H_
#define QOR_TOOLS_CHECK_AGENT_PROCESS_H_

#include <Ecore.h>

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "base/timeouts.h"
#include "json/json.h"

namespace tools::check {

struct Command {
  std::string uuid;
  std::string type;
  std::string payload;  // JSON
};

// How a command ended.
struct Answer {
  enum class Kind {
    kSucceeded,
    kFailed,
    // A timeout of the library.
    kTimeout,
    // The handler did not fetch the command: such a command has no timeout in the library.
    kNotFetched,
    // No answer long after all timeouts, because the handler was granted more time.
    kWorking,
    // The process of the handler ended before it connected.
    kEnded,
    // The library did not accept the command.
    kRejected,
  };
  Kind kind = Kind::kRejected;
  int status = 0;
  // Result or error, compact JSON if it is JSON; how the process ended.
  std::string text;
  bool is_json = false;
  std::chrono::duration<double, std::milli> latency{0};

  // Whether a handler gave the answer, as opposed to the library or the tool.
  bool IsFromHandler() const { return kind == Kind::kSucceeded || kind == Kind::kFailed; }
};

// Thrown when a signal interrupts a wait.
struct Interrupted : std::runtime_error {
  Interrupted() : std::runtime_error("interrupted") {}
};

// A `qor probe` in a child process, which the destructor ends. All have the same identity, so only
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
  // Waits for the answer to a command that was sent.
  Answer Await(const std::string& uuid);

  // The commands that a handler answered more than once.
  const std::set<std::string>& AnsweredTwice() const { return answered_twice_; }

 private:
  using Clock = std::chrono::steady_clock;
  struct Pending {
    std::string type;
    Clock::time_point sent;
    // When the tool stops waiting; moved by extensions.
    Clock::time_point limit;
    bool is_sent = false;
    std::optional<Answer> answer;
  };

  static Eina_Bool OnLines(void* self, int, void* event);
  static Eina_Bool OnEnd(void* self, int, void* event);
  void OnLine(const std::string& line);
  void OnSent(Pending& command, int error);
  void OnAnswered(const std::string& uuid, int status, const std::string& text);
  static void OnExtension(Pending& command, double asked);
  void OnHandlerEnded(const std::string& text);
  void WaitUntil(const std::function<bool()>& condition, Clock::duration limit) const;

  const Timeouts timeouts_;
  const std::function<bool()> is_interrupted_;
  Ecore_Event_Handler* handlers_[2];
  Ecore_Exe* process_;
  bool ended_ = false;
  std::map<std::string, Pending> commands_;  // by uuid
  std::set<std::string> answered_twice_;
};

}  // namespace tools::check

#endif
