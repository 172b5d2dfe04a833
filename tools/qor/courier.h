// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COURIER_H_
#define QOR_TOOLS_QOR_COURIER_H_

#include <Ecore.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>

#include "agent/agent.h"
#include "outcome.h"

namespace qor {

// The library's own defaults, in milliseconds.
struct Timeouts {
  int execution_ms = 3000;
  int connection_ms = 5000;
};

// Sends commands through an agent of its own and tells how each of them ended, whatever happens.
//
// Not every command has a timeout in the library: not when its handler connects and never asks for
// it, nor when it waits together with others. So the courier has a limit of its own, both timeouts
// and some grace, after which a command ends without an answer. Granted seconds prolong it.
class Courier {
 public:
  using OnOutcome = std::function<void(const Outcome&)>;

  // `on_outcome` may send.
  Courier(const Timeouts& timeouts, OnOutcome on_outcome);
  Courier(const Courier&) = delete;
  Courier& operator=(const Courier&) = delete;
  ~Courier();

  // The outcome of a command that is refused comes within the call. `mark` comes back in it.
  void Send(const std::string& uuid, const std::string& type, const std::string& payload,
            int mark = 0);
  std::size_t Pending() const { return sent_.size(); }

  // For what is sent from now on.
  void SetTimeouts(const Timeouts& timeouts);
  // Without one every request is granted.
  void SetNegotiator(tools::Agent::Negotiator negotiator) { negotiator_ = std::move(negotiator); }
  // Answers to commands that had ended already.
  void SetLateListener(OnOutcome on_late) { on_late_ = std::move(on_late); }
  tools::Agent& Agent() { return agent_; }

 private:
  using Clock = std::chrono::steady_clock;
  using Seconds = std::chrono::duration<double>;
  struct Sent {
    std::string type;
    int mark;
    Clock::time_point since;
    Seconds limit;  // from `since` on
  };

  static double MillisecondsSince(Clock::time_point since);
  void OnResponse(const tools::Agent::Response& response);
  bool Negotiate(const std::string& handler, const std::string& uuid, double seconds);
  void EndOverdue();

  Timeouts timeouts_;
  const OnOutcome on_outcome_;
  OnOutcome on_late_;
  tools::Agent::Negotiator negotiator_;
  std::map<std::string, Sent> sent_;  // by uuid
  tools::Agent agent_;
  Ecore_Timer* look_;
};

}  // namespace qor

#endif
