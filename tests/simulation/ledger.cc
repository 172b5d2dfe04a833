// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ledger.h"

#include <algorithm>
#include <utility>

#include "scheduler.h"

namespace simulation {

namespace {

using qor::agent::Command;
using qor::agent::Outcome;
using qor::agent::State;

std::string Name(const Command& command) { return "command " + command.uuid; }

}  // namespace

void Ledger::Trace(const std::string& text) {
  lines_.push_back(std::to_string(clock_.boot) + ':' + std::to_string(clock_.since_boot) + ' ' +
                   text);
}

void Ledger::Check(bool condition, const std::string& violation) {
  if (condition || !violation_.empty()) return;
  violation_ = violation;
  Trace("violation: " + violation);
}

void Ledger::ThrowIfViolated() const {
  if (!violation_.empty()) throw Violation(violation_);
}

const Command& Ledger::CommandAt(std::size_t index) const {
  return records_.at(order_[index]).command;
}

bool Ledger::MayBeForgotten(const Record& record) const {
  return record.was_confirmed &&
         (record.was_forgettable || clock_.since_boot >= record.min_deadline + kRememberMs);
}

bool Ledger::IsOverdue(const Record& record) const {
  return record.was_overdue || clock_.since_boot >= record.min_deadline;
}

bool Ledger::IsTooLateToConnect(const Record& record) const {
  return record.was_too_late_to_connect ||
         clock_.since_boot + qor::agent::Scheduler::Limits().connection_ms > record.min_deadline;
}

bool Ledger::IsPromised(const Record& record) const {
  return record.was_accepted && !record.is_uncertain && !MayBeForgotten(record);
}

void Ledger::OnSubmitted(const Command& command, std::optional<int> result) {
  Trace("submit " + command.uuid + ' ' + command.type +
        (result ? " = " + std::to_string(*result) : " killed"));
  const auto [found, is_new] = records_.try_emplace(command.uuid);
  Record& record = found->second;
  if (is_new) {
    order_.push_back(command.uuid);
    record.command = command;
  }
  const bool was_known = IsPromised(record);
  const bool may_be_known = record.was_accepted || record.may_be_accepted;
  if (!result) {
    if (was_known) return;
    if (record.was_accepted) record.is_uncertain = true;
    record.may_be_accepted = true;
    AddDeadline(record, command.deadline_wall);
    return;
  }
  switch (*result) {
    case QOR_AGENT_ERROR_NONE:
      Check(!was_known, Name(command) + " was accepted twice");
      if (!record.is_uncertain) Accept(record, command);
      break;
    case QOR_AGENT_ERROR_ALREADY_KNOWN:
      Check(may_be_known, Name(command) + " is known, but was never accepted");
      record.was_accepted = true;
      break;
    default:
      Check(!was_known, Name(command) + " was rejected after it was accepted");
      if (!record.was_accepted) record.may_be_accepted = false;
  }
}

void Ledger::Accept(Record& record, const Command& command) {
  Record accepted;
  accepted.command = command;
  accepted.was_accepted = true;
  // The handler remembers.
  accepted.runs = std::move(record.runs);
  accepted.results = std::move(record.results);
  accepted.errors = std::move(record.errors);
  accepted.is_suspended = record.is_suspended;
  accepted.handler_ends = record.handler_ends;
  accepted.may_be_pending = record.may_be_pending || (record.was_sent && record.reported &&
                                                      record.reported->kind == QOR_AGENT_UNKNOWN);
  record = std::move(accepted);
  AddDeadline(record, command.deadline_wall);
}

void Ledger::AddDeadline(Record& record, WallMs deadline) {
  const bool is_first = record.max_deadline_wall == 0;
  const BootMs since_boot = clock_.since_boot + (deadline - clock_.wall);
  record.min_deadline_wall = is_first ? deadline : std::min(record.min_deadline_wall, deadline);
  record.max_deadline_wall = std::max(record.max_deadline_wall, deadline);
  record.min_deadline = is_first ? since_boot : std::min(record.min_deadline, since_boot);
  record.max_deadline = is_first ? since_boot : std::max(record.max_deadline, since_boot);
}

void Ledger::OnConflictingSubmission(const std::string& uuid, int result) {
  if (IsPromised(Find(uuid))) {
    Check(result == QOR_AGENT_ERROR_CONFLICT,
          "command " + uuid + " was accepted with another payload: " + std::to_string(result));
  }
}

void Ledger::OnAgentStarts() {
  ++disturbances_;
  for (auto& [uuid, record] : records_) {
    record.is_restored = record.is_answer_received = record.is_reported_by_process = false;
  }
}

void Ledger::OnRestored(const Command& command) {
  Record& record = Find(command.uuid);
  Check(record.was_accepted || record.may_be_accepted,
        Name(command) + " was restored, but never accepted");
  record.is_restored = record.was_accepted = true;
  if (command.state == State::kSent) record.was_sent = true;
}

void Ledger::OnAgentStarted() {
  for (const auto& [uuid, record] : records_) {
    Check(record.is_restored || !IsPromised(record), "command " + uuid + " was lost");
  }
}

void Ledger::OnSent(const Command& command) {
  Trace("send " + command.uuid);
  Record& record = Find(command.uuid);
  Check(record.was_accepted || record.may_be_accepted,
        Name(command) + " was sent, but never accepted");
  Check(command.policy == QOR_AGENT_AT_LEAST_ONCE || !record.was_delivered || record.is_uncertain ||
            record.may_be_pending,
        "at-most-once " + Name(command) + " was sent again");
  record.was_sent = record.was_accepted = true;
  // What came before was for an earlier submission.
  record.is_answered = record.is_delivered = record.is_answer_received = false;
  record.disturbances = disturbances_;
}

void Ledger::OnExtended(const std::string& uuid, double seconds) {
  Trace("extend " + uuid);
  Record& record = Find(uuid);
  const auto now = clock_.since_boot + static_cast<BootMs>(seconds * 1000);
  const BootMs extension = std::max<BootMs>(now - record.min_deadline, 0);
  record.max_deadline = std::max(record.max_deadline, now);
  record.max_deadline_wall =
      std::max(record.max_deadline_wall, record.min_deadline_wall + extension);
}

void Ledger::OnAnswerReceived(const std::string& uuid) { Find(uuid).is_answer_received = true; }

void Ledger::OnOutcome(const Command& command) {
  const Outcome& outcome = command.outcome;
  Trace("outcome " + command.uuid + " = " + std::to_string(outcome.kind) +
        (outcome.is_amendment ? " amended" : ""));
  Record& record = Find(command.uuid);
  record.is_reported_by_process = true;
  if (record.is_uncertain) return;
  CheckOutcome(record, command);
  CheckRepetition(record, outcome);
  record.reported = outcome;
  // A kill has lost the confirmation, or this is an amendment.
  record.was_confirmed = record.was_forgettable = false;
}

void Ledger::CheckOutcome(const Record& record, const Command& command) {
  const std::string name = Name(command);
  const Outcome& outcome = command.outcome;
  const bool is_overdue = IsOverdue(record);
  switch (outcome.kind) {
    case QOR_AGENT_SUCCEEDED:
      Check(record.results.count(outcome.result) != 0, name + " has another's result");
      break;
    case QOR_AGENT_FAILED:
      CheckFailure(record, outcome.error);
      break;
    case QOR_AGENT_NOT_DELIVERED:
      Check(!record.has_run || record.may_be_pending,
            name + " ran and was reported as not delivered");
      Check(is_overdue || record.reported ||
                (outcome.reason == QOR_AGENT_REASON_NO_HANDLER && !command.waits_for_handler) ||
                (outcome.reason == QOR_AGENT_REASON_NOT_CONNECTED && IsTooLateToConnect(record)),
            name + " was given up before its deadline");
      break;
    case QOR_AGENT_UNKNOWN:
      Check(record.was_sent, name + " is unknown, but was never sent");
      Check(is_overdue || record.reported, name + " is unknown before its deadline");
      Check(!record.is_answer_received, name + " is unknown, but its answer was received");
      break;
  }
}

void Ledger::CheckFailure(const Record& record, const std::string& error) {
  const std::string name = Name(record.command);
  const int ends = handler_ends_ - record.handler_ends.value_or(handler_ends_);
  if (HasCode(error, qor::ErrorCode::kInterrupted)) {
    Check(!record.is_suspended, "suspended " + name + " was not resumed");
    Check(ends > 0, name + " failed as interrupted, but no process has ended");
  } else if (HasCode(error, qor::ErrorCode::kCrashed)) {
    Check(ends >= 3, name + " failed as crashed, but no three processes have ended");
  } else if (HasCode(error, qor::ErrorCode::kNotRecorded)) {
    Check(has_full_disk_, name + " could not be recorded, but no disk was full");
  } else if (HasCode(error, qor::ErrorCode::kNoFunction)) {
    Check(have_handlers_changed_, name + " has no function, but no handler has changed");
  } else {
    Check(record.errors.count(error) != 0, name + " has another's error: " + error);
  }
}

bool Ledger::HasCode(const std::string& error, qor::ErrorCode code) const {
  return error.find("\"ErrorCode\":" + std::to_string(static_cast<int>(code))) != std::string::npos;
}

void Ledger::CheckRepetition(const Record& record, const Outcome& outcome) {
  const std::string name = Name(record.command);
  if (!record.reported) {
    Check(!outcome.is_amendment, name + " was amended before it was reported");
    return;
  }
  const Outcome& before = *record.reported;
  if (outcome.is_amendment && !before.is_amendment) {
    Check(before.kind == QOR_AGENT_UNKNOWN, name + " was amended, but is not unknown");
    return;
  }
  Check(outcome.kind == before.kind && outcome.result == before.result &&
            outcome.error == before.error,
        name + " has two outcomes");
}

void Ledger::OnConfirmed(const std::string& uuid) { Find(uuid).was_confirmed = true; }

void Ledger::OnDelivered(const std::string& uuid, bool is_connected) {
  Trace("deliver " + uuid);
  Record& record = Find(uuid);
  if (!record.handler_ends) record.handler_ends = handler_ends_;
  record.was_delivered = true;
  record.is_delivered = is_connected;
}

void Ledger::OnRun(const std::string& installation, const std::string& uuid, bool is_at_most_once) {
  Trace("run " + uuid + " by " + installation);
  Record& record = Find(uuid);
  record.has_run = true;
  const int runs = ++record.runs[installation];
  Check(!is_at_most_once || runs == 1, "at-most-once command " + uuid + " ran twice");
}

void Ledger::OnSuspended(const std::string& uuid) {
  Trace("suspend " + uuid);
  Find(uuid).is_suspended = true;
}

void Ledger::OnAnswer(const std::string& uuid, bool succeeded, const std::string& text) {
  Trace("answer " + uuid + (succeeded ? " +" : " -"));
  Record& record = Find(uuid);
  (succeeded ? record.results : record.errors).insert(text);
}

void Ledger::OnAnswered(const std::string& uuid) { Find(uuid).is_answered = true; }

void Ledger::OnHandlerEnded() {
  ++handler_ends_;
  ++disturbances_;
  for (auto& [uuid, record] : records_) record.is_answered = false;
}

void Ledger::OnPowerCut() {
  Trace("power cut");
  for (auto& [uuid, record] : records_) {
    record.was_forgettable = MayBeForgotten(record);
    record.was_overdue = IsOverdue(record);
    record.was_too_late_to_connect = IsTooLateToConnect(record);
  }
}

void Ledger::OnBooted() {
  for (auto& [uuid, record] : records_) {
    record.min_deadline = clock_.since_boot + (record.min_deadline_wall - clock_.wall);
    record.max_deadline = clock_.since_boot + (record.max_deadline_wall - clock_.wall);
  }
}

void Ledger::OnHandlersChanged() {
  ++disturbances_;
  have_handlers_changed_ = true;
}

void Ledger::OnUninstalled() {
  for (auto& [uuid, record] : records_) record.is_suspended = false;
}

void Ledger::OnDiskFull() {
  ++disturbances_;
  has_full_disk_ = true;
}

void Ledger::CheckAnswersArrived() {
  for (const auto& [uuid, record] : records_) {
    const bool is_undisturbed = record.is_delivered && record.disturbances == disturbances_;
    Check(!record.is_answered || !is_undisturbed || record.is_answer_received || record.reported,
          "the answer to command " + uuid + " was lost");
  }
}

void Ledger::CheckDeadlines() {
  for (const auto& [uuid, record] : records_) {
    Check(!IsPromised(record) || record.reported || clock_.since_boot <= record.max_deadline,
          "command " + uuid + " has no outcome after its deadline");
  }
}

void Ledger::CheckEnd() {
  for (const auto& [uuid, record] : records_) {
    if (!record.was_accepted || record.is_uncertain) continue;
    Check(record.reported.has_value(), "command " + uuid + " was lost");
    if (!record.reported) continue;
    Check(!record.is_last || record.results.count(record.reported->result) != 0 ||
              record.errors.count(record.reported->error) != 0,
          "command " + uuid + " was not answered, though nothing failed");
    Check(record.is_reported_by_process || record.was_confirmed,
          "command " + uuid + " was not confirmed, but not reported again");
    const bool is_undelivered = record.reported->kind == QOR_AGENT_NOT_DELIVERED;
    Check(!is_undelivered || !record.has_run || record.may_be_pending,
          "command " + uuid + " ran and was reported as not delivered");
  }
}

BootMs Ledger::LastDeadline() const {
  BootMs last = clock_.since_boot;
  for (const auto& [uuid, record] : records_) last = std::max(last, record.max_deadline);
  return last;
}

}  // namespace simulation
