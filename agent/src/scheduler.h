// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_SCHEDULER_H_
#define QOR_AGENT_SRC_SCHEDULER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "clock.h"
#include "journal.h"
#include "lanes.h"
#include "records.h"
#include "router.h"

namespace qor::agent {

// Takes each command from its submission to one outcome.
//
// Invariants. A command is handed to the library only after the store has it as kSent, and an
// outcome is reported only after the store has it: whatever happens in between, a command that may
// have been delivered is never taken for one that was not, and no outcome is taken back. All
// changes between two calls of Run() are written together.
class Scheduler {
 public:
  struct Limits {
    std::size_t window = 1;
    std::size_t max_commands = 100'000;
    std::uint64_t max_bytes = std::uint64_t{256} << 20;
    std::int64_t max_extension_ms = 0;
    std::int64_t remember_ms = 3'600'000;
    int connection_ms = 5000;
  };
  struct Observer {
    // Gets uuid, type and outcome. May call Submit() and Confirm().
    std::function<void(const Command&)> on_outcome;
    // Handler, uuid, seconds; returns whether they are granted. Empty: up to the limit.
    std::function<bool(const std::string&, const std::string&, double)> on_extension;
    std::function<void(const std::string&)> on_log;
  };

  // `store` may be null: nothing is durable then. All outlive this object.
  Scheduler(const Limits& limits, const Clock& clock, Router& router, Store* store,
            Observer observer);
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  // Adds a command of the store. Before the first Run(). Throws Error for a duplicate uuid.
  void Restore(Command command);

  // Accepts valid commands, or tells why not: qor_agent_error_e, one for each.
  std::vector<int> Submit(std::vector<Command> commands);
  int Confirm(const std::string& uuid);
  // Commands without an outcome.
  std::size_t Pending() const { return pending_; }

  // What the library reports.
  void OnResponse(const std::string& uuid, int status, std::string result, std::string error);
  // Returns whether the handler gets the seconds.
  bool OnExtensionRequest(const std::string& handler, const std::string& uuid, double seconds);
  void OnHandlersChanged();

  // Writes what has changed, reports outcomes, sends what may be sent.
  void Run();
  // Writes what has changed, at the end. Throws Error.
  void Flush();
  // When Run() has something to do without another call before; Lanes::kNever when not.
  BootMs NextRun() const;

 private:
  using Commands = std::unordered_map<std::string, Command>;  // by uuid
  // By time and sequence, so that the order is that of submission.
  using Agenda = std::map<std::pair<BootMs, std::int64_t>, Command*>;

  int Accept(Command command, WallMs now_wall, BootMs now, std::vector<Command*>* accepted);
  void NoteChange(const Command& command);
  // Throws Error.
  void Write();
  // False after a failure, which is logged; true for nothing to write.
  bool TryToWrite(BootMs now);
  void MarkReady(BootMs now);

  void EndOverdue(BootMs now);
  void ForgetOld(BootMs now);
  void Report();
  void Send(const std::vector<Command*>& commands, BootMs now);

  void OnTimeout(Command& command, bool is_connection_timeout, BootMs now);
  void OnNotDelivered(Command& command, qor_agent_reason_e reason, BootMs now);
  void End(Command& command, Outcome outcome);
  void EndUndelivered(Command& command, qor_agent_reason_e reason);
  void Amend(Command& command, Outcome outcome);
  // Removes a command that the library has completed or rejected.
  void LeaveFlight(Command& command);

  const Limits limits_;
  const std::int64_t remember_ms_;
  const Clock& clock_;
  Router& router_;
  Store* const store_;
  const Observer observer_;

  Commands commands_;
  Lanes lanes_;
  // Deadlines of commands without an outcome; times when confirmed ones are forgotten.
  Agenda deadlines_;
  Agenda expiries_;
  // To be written.
  std::unordered_set<const Command*> changed_;
  std::vector<std::int64_t> erased_;    // sequences
  std::deque<std::string> unreported_;  // uuids
  bool has_run_ = false;
  // To be sent once they are written as sent.
  std::vector<Command*> marked_;
  std::int64_t next_sequence_ = 1;
  std::uint64_t bytes_ = 0;
  std::size_t pending_ = 0;
  // The store has failed: the next attempt's time.
  BootMs write_again_at_ = 0;
};

}  // namespace qor::agent

#endif
