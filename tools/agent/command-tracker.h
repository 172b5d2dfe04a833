// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_AGENT_COMMAND_TRACKER_H_
#define QOR_TOOLS_AGENT_COMMAND_TRACKER_H_

#include <Ecore.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "agent/agent.h"
#include "agent/outcome.h"

namespace tools {

// Defaults are the library's.
struct Timeouts {
  int execution_ms = 3000;
  int connection_ms = 5000;
};

// Sends commands through an agent of its own and reports exactly one outcome for each.
//
// Not every command has a timeout in the library: a command whose handler connects and never
// fetches has none, and a command can lose its timer to others of the same handler. The tracker
// therefore has a limit of its own, both timeouts and a grace period, after which the outcome is
// kNoAnswer. Granted extensions prolong it.
class CommandTracker {
 public:
  using OnOutcome = std::function<void(const Outcome&)>;

  // `on_outcome` may call Send().
  CommandTracker(const Timeouts& timeouts, OnOutcome on_outcome);
  CommandTracker(const CommandTracker&) = delete;
  CommandTracker& operator=(const CommandTracker&) = delete;
  ~CommandTracker();

  // Reports the outcome of a rejected command before it returns. `tag` is passed to the outcome.
  void Send(const std::string& uuid, const std::string& type, const std::string& payload,
            int tag = 0);
  std::size_t CountPending() const { return pending_.size(); }

  // Applies to commands sent from now on.
  void SetTimeouts(const Timeouts& timeouts);
  // By default every extension is granted.
  void SetNegotiator(Agent::Negotiator negotiator) { negotiator_ = std::move(negotiator); }
  // Called for responses to commands that already have an outcome.
  void SetLateListener(OnOutcome on_late) { on_late_ = std::move(on_late); }
  Agent& GetAgent() { return agent_; }

 private:
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  struct Pending {
    std::string type;
    int tag;
    Clock::time_point sent;
    Seconds limit;  // after `sent`
  };

  static double MillisecondsSince(Clock::time_point since);
  void OnResponse(const Agent::Response& response);
  bool Negotiate(const std::string& handler, const std::string& uuid, double seconds);
  void ExpireOverdue();

  Timeouts timeouts_;
  const OnOutcome on_outcome_;
  OnOutcome on_late_;
  Agent::Negotiator negotiator_;
  std::map<std::string, Pending> pending_;  // by uuid
  Agent agent_;
  Ecore_Timer* overdue_timer_;
};

}  // namespace tools

#endif
