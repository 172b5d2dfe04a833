// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_LEDGER_H_
#define TESTS_SIMULATION_LEDGER_H_

#include <qor/handler.h>

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "records.h"
#include "virtual-clock.h"

namespace simulation {

using qor::agent::BootMs;
using qor::agent::WallMs;

// A violated promise.
class Violation : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// How long confirmed commands are remembered.
inline constexpr BootMs kRememberMs = 30'000;

// Knows what really happened to each command, and compares it with what is reported.
class Ledger {
 public:
  explicit Ledger(const VirtualClock& clock) : clock_(clock) {}

  void Trace(const std::string& text);
  const std::vector<std::string>& Lines() const { return lines_; }
  // Records the first violation. It is thrown between two actions, since much is called from code
  // that handles exceptions.
  void Check(bool condition, const std::string& violation);
  void ThrowIfViolated() const;

  // Commands, in the order of submission.
  std::size_t Size() const { return order_.size(); }
  const qor::agent::Command& CommandAt(std::size_t index) const;

  // The agent's process. No result: it was killed in the call.
  void OnSubmitted(const qor::agent::Command& command, std::optional<int> result);
  void OnConflictingSubmission(const std::string& uuid, int result);
  // It has to be answered: nothing fails from here on.
  void OnLastCommand(const std::string& uuid) { Find(uuid).is_last = true; }
  void OnAgentStarts();
  void OnRestored(const qor::agent::Command& command);
  // All commands are restored.
  void OnAgentStarted();
  void OnSent(const qor::agent::Command& command);
  void OnExtended(const std::string& uuid, double seconds);
  void OnAnswerReceived(const std::string& uuid);
  void OnOutcome(const qor::agent::Command& command);
  void OnConfirmed(const std::string& uuid);

  // Handlers. An installation keeps what it stored.
  // Over a connection that still exists, or that the agent has left.
  void OnDelivered(const std::string& uuid, bool is_connected);
  void OnRun(const std::string& installation, const std::string& uuid, bool is_at_most_once);
  void OnSuspended(const std::string& uuid);
  // The function is about to give this answer.
  void OnAnswer(const std::string& uuid, bool succeeded, const std::string& text);
  void OnAnswered(const std::string& uuid);
  void OnHandlerEnded();

  // The device.
  void OnPowerCut();
  void OnBooted();
  void OnHandlersChanged();
  void OnUninstalled();
  void OnDiskFull();
  // Something that may delay or lose an answer: a process or a connection has ended, among others.
  void OnDisturbance() { ++disturbances_; }

  // All messages were delivered.
  void CheckAnswersArrived();
  // The agent has run with a disk that can be written.
  void CheckDeadlines();
  // Everything has ended, and the agent has started once more since.
  void CheckEnd();
  // The time since the boot when every command has reached its deadline.
  BootMs LastDeadline() const;

 private:
  struct Record {
    // As it was submitted first, or accepted again after the agent had forgotten it.
    qor::agent::Command command;
    // The process was killed in the call: the journal may have it or not.
    bool may_be_accepted = false;
    bool was_accepted = false;
    // The agent may have forgotten it and accepted it anew, or not: no promise holds.
    bool is_uncertain = false;
    // The deadline lies between these: a kill may lose an extension.
    WallMs min_deadline_wall = 0;
    WallMs max_deadline_wall = 0;
    BootMs min_deadline = 0;
    BootMs max_deadline = 0;
    bool is_restored = false;
    // Handed to the library, or in the journal as that when the process was killed.
    bool was_sent = false;
    // An earlier submission, which the agent has forgotten, has no answer: the library may still
    // deliver it.
    bool may_be_pending = false;
    bool was_delivered = false;
    bool has_run = false;
    bool is_suspended = false;
    std::map<std::string, int> runs;  // by installation
    std::set<std::string> results;
    std::set<std::string> errors;
    // Over a connection that existed, since it was sent last.
    bool is_delivered = false;
    // The handler's process lives on.
    bool is_answered = false;
    // By the process that runs.
    bool is_answer_received = false;
    int disturbances = 0;
    // When it was delivered first.
    std::optional<int> handler_ends;
    std::optional<qor::agent::Outcome> reported;
    bool is_reported_by_process = false;
    bool was_confirmed = false;
    bool is_last = false;
    // In an earlier boot, whatever the clock says in this one.
    bool was_overdue = false;
    bool was_too_late_to_connect = false;
    bool was_forgettable = false;
  };

  Record& Find(const std::string& uuid) { return records_.at(uuid); }
  bool MayBeForgotten(const Record& record) const;
  // The deadline may have passed.
  bool IsOverdue(const Record& record) const;
  // A handler that is launched may not connect before the deadline.
  bool IsTooLateToConnect(const Record& record) const;
  bool IsPromised(const Record& record) const;
  void Accept(Record& record, const qor::agent::Command& command);
  void AddDeadline(Record& record, WallMs deadline);
  void CheckOutcome(const Record& record, const qor::agent::Command& command);
  void CheckFailure(const Record& record, const std::string& error);
  void CheckRepetition(const Record& record, const qor::agent::Outcome& outcome);
  bool HasCode(const std::string& error, qor::ErrorCode code) const;

  const VirtualClock& clock_;
  std::vector<std::string> lines_;
  std::string violation_;
  std::map<std::string, Record> records_;
  std::vector<std::string> order_;
  int disturbances_ = 0;
  int handler_ends_ = 0;
  bool has_full_disk_ = false;
  bool have_handlers_changed_ = false;
};

}  // namespace simulation

#endif
