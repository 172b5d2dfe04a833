// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "scheduler.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "common/timeout-errors.h"
#include "error.h"

namespace qor::agent {

namespace {

// Between two attempts to write to a store that has failed, for example on a full disk.
constexpr BootMs kWriteRetryMs = 1000;
constexpr double kMillisecondsPerSecond = 1000;

}  // namespace

Scheduler::Scheduler(const Limits& limits, const Clock& clock, Router& router, Store* store,
                     Observer observer)
    : limits_(limits),
      remember_ms_(std::min(limits.remember_ms, kMaxMs)),
      clock_(clock),
      router_(router),
      store_(store),
      observer_(std::move(observer)),
      lanes_(limits.window) {}

void Scheduler::Restore(Command restored) {
  next_sequence_ = std::max(next_sequence_, restored.sequence + 1);
  bytes_ += restored.Bytes();
  const auto [found, is_new] = commands_.try_emplace(restored.uuid);
  if (!is_new) {
    throw Error(QOR_AGENT_ERROR_JOURNAL_DAMAGED, "the journal has a duplicate uuid");
  }
  Command& command = found->second;
  command = std::move(restored);
  switch (command.state) {
    case State::kHeld:
      lanes_.Hold(&command);
      break;
    case State::kSent:
      // At-most-once: waits for a late answer.
      if (command.policy == QOR_AGENT_AT_LEAST_ONCE) lanes_.Hold(&command);
      break;
    case State::kEnded:
      unreported_.push_back(command.uuid);
      return;
    case State::kConfirmed:
      expiries_[{command.deadline + remember_ms_, command.sequence}] = &command;
      return;
  }
  ++pending_;
  deadlines_[{command.deadline, command.sequence}] = &command;
}

std::vector<int> Scheduler::Submit(std::vector<Command> commands) {
  const WallMs now_wall = clock_.Wall();
  const BootMs now = clock_.SinceBoot();
  std::vector<int> results;
  std::vector<Command*> accepted;
  for (Command& command : commands)
    results.push_back(Accept(std::move(command), now_wall, now, &accepted));
  if (accepted.empty()) return results;
  try {
    Write();
  } catch (const Error& error) {
    if (observer_.on_log) observer_.on_log(error.what());
    for (const Command* command : accepted) {
      lanes_.Remove(*command);
      deadlines_.erase({command->deadline, command->sequence});
      --pending_;
      changed_.erase(command);
      bytes_ -= command->Bytes();
      commands_.erase(command->uuid);
    }
    std::replace(results.begin(), results.end(), static_cast<int>(QOR_AGENT_ERROR_NONE),
                 static_cast<int>(error.code()));
  }
  return results;
}

int Scheduler::Accept(Command submitted, WallMs now_wall, BootMs now,
                      std::vector<Command*>* accepted) {
  const auto known = commands_.find(submitted.uuid);
  if (known != commands_.end()) {
    const bool is_same =
        known->second.type == submitted.type && known->second.payload == submitted.payload;
    return is_same ? QOR_AGENT_ERROR_ALREADY_KNOWN : QOR_AGENT_ERROR_CONFLICT;
  }
  if (submitted.deadline_wall <= now_wall) return QOR_AGENT_ERROR_DEADLINE;
  if (commands_.size() >= limits_.max_commands ||
      submitted.Bytes() > limits_.max_bytes - std::min(bytes_, limits_.max_bytes)) {
    return QOR_AGENT_ERROR_LIMIT;
  }
  Command& command = commands_[submitted.uuid];
  command = std::move(submitted);
  command.sequence = next_sequence_++;
  command.deadline_wall = std::min(command.deadline_wall, kMaxMs);
  command.deadline = now + (command.deadline_wall - now_wall);
  bytes_ += command.Bytes();
  ++pending_;
  lanes_.Hold(&command);
  deadlines_[{command.deadline, command.sequence}] = &command;
  NoteChange(command);
  accepted->push_back(&command);
  return QOR_AGENT_ERROR_NONE;
}

int Scheduler::Confirm(const std::string& uuid) {
  const auto found = commands_.find(uuid);
  if (found == commands_.end() || !found->second.HasOutcome()) return QOR_AGENT_ERROR_NOT_FOUND;
  Command& command = found->second;
  if (command.state == State::kConfirmed) return QOR_AGENT_ERROR_NONE;
  command.state = State::kConfirmed;
  bytes_ -= command.outcome.result.size() + command.outcome.error.size();
  command.outcome.result.clear();
  command.outcome.error.clear();
  expiries_[{command.deadline + remember_ms_, command.sequence}] = &command;
  NoteChange(command);
  return QOR_AGENT_ERROR_NONE;
}

void Scheduler::OnResponse(const std::string& uuid, int status, std::string result,
                           std::string error) {
  const auto found = commands_.find(uuid);
  if (found == commands_.end()) return;
  Command& command = found->second;
  const BootMs now = clock_.SinceBoot();
  const bool was_in_flight = command.is_in_flight;
  LeaveFlight(command);
  const common::Timeout timeout = common::TimeoutOf(error);
  if (status == QOR_REQUEST_STATUS_FAILED && timeout != common::Timeout::kNone) {
    if (was_in_flight) OnTimeout(command, timeout == common::Timeout::kConnection, now);
    return;
  }
  Outcome outcome{status == QOR_REQUEST_STATUS_SUCCESS ? QOR_AGENT_SUCCEEDED : QOR_AGENT_FAILED,
                  QOR_AGENT_REASON_NONE, status, std::move(result), std::move(error)};
  if (command.HasOutcome()) {
    Amend(command, std::move(outcome));
  } else if (command.state == State::kSent) {
    lanes_.ResetBackoff(command.type);
    lanes_.Remove(command);
    End(command, std::move(outcome));
  }
  // Otherwise no handler has received the command: the answer is not one to it.
}

void Scheduler::OnTimeout(Command& command, bool is_connection_timeout, BootMs now) {
  if (command.HasOutcome()) return;
  if (is_connection_timeout) {
    OnNotDelivered(command, QOR_AGENT_REASON_NOT_CONNECTED, now);
  } else if (command.policy == QOR_AGENT_AT_LEAST_ONCE) {
    lanes_.BackOff(command.type, now);
    lanes_.Hold(&command);
  }
}

void Scheduler::OnNotDelivered(Command& command, qor_agent_reason_e reason, BootMs now) {
  command.outcome.reason = reason;
  if (!command.was_sent_before) command.state = State::kHeld;
  NoteChange(command);
  lanes_.BackOff(command.type, now);
  lanes_.Hold(&command);
}

void Scheduler::End(Command& command, Outcome outcome) {
  marked_.erase(std::remove(marked_.begin(), marked_.end(), &command), marked_.end());
  command.outcome = std::move(outcome);
  command.state = State::kEnded;
  bytes_ += command.outcome.result.size() + command.outcome.error.size();
  deadlines_.erase({command.deadline, command.sequence});
  --pending_;
  unreported_.push_back(command.uuid);
  NoteChange(command);
}

void Scheduler::EndUndelivered(Command& command, qor_agent_reason_e reason) {
  End(command, {QOR_AGENT_NOT_DELIVERED, reason, 0, "", ""});
}

void Scheduler::Amend(Command& command, Outcome outcome) {
  if (command.outcome.kind != QOR_AGENT_UNKNOWN) return;
  expiries_.erase({command.deadline + remember_ms_, command.sequence});
  const bool is_reported =
      std::find(unreported_.begin(), unreported_.end(), command.uuid) == unreported_.end();
  outcome.is_amendment = is_reported || command.state == State::kConfirmed;
  if (is_reported) unreported_.push_back(command.uuid);
  command.state = State::kEnded;
  command.outcome = std::move(outcome);
  bytes_ += command.outcome.result.size() + command.outcome.error.size();
  NoteChange(command);
}

void Scheduler::LeaveFlight(Command& command) {
  if (std::exchange(command.is_in_flight, false)) lanes_.Release(command.type);
}

bool Scheduler::OnExtensionRequest(const std::string& handler, const std::string& uuid,
                                   double seconds) {
  const auto found = commands_.find(uuid);
  if (found == commands_.end() || found->second.state != State::kSent) return false;
  if (!std::isfinite(seconds) || seconds <= 0) return false;
  Command& command = found->second;
  const auto asked =
      static_cast<std::int64_t>(std::min(seconds * kMillisecondsPerSecond, double{kMaxMs}));
  const std::int64_t extension =
      std::max<std::int64_t>(clock_.SinceBoot() + asked - command.deadline, 0);
  const bool is_granted = observer_.on_extension
                              ? observer_.on_extension(handler, uuid, seconds)
                              : command.extended_ms + extension <= limits_.max_extension_ms;
  if (!is_granted || extension == 0) return is_granted;
  deadlines_.erase({command.deadline, command.sequence});
  command.deadline += extension;
  command.deadline_wall += extension;
  command.extended_ms += extension;
  deadlines_[{command.deadline, command.sequence}] = &command;
  NoteChange(command);
  return true;
}

void Scheduler::OnHandlersChanged() {
  lanes_.SetHandlers(router_.RequestTypesOfHandlers());
  lanes_.ResetAllBackoffs();
}

void Scheduler::Run() {
  const BootMs now = clock_.SinceBoot();
  // What was restored is written: a failing store must not delay it until an answer changes it.
  if (!std::exchange(has_run_, true)) Report();
  EndOverdue(now);
  ForgetOld(now);
  MarkReady(now);
  if (!TryToWrite(now)) return;
  const std::vector<Command*> written = std::exchange(marked_, {});
  Report();
  Send(written, now);
}

void Scheduler::Flush() {
  // Not sent, because an earlier write failed.
  for (Command* command : marked_) {
    if (!command->was_sent_before) command->state = State::kHeld;
  }
  Write();
}

void Scheduler::MarkReady(BootMs now) {
  // Without an attempt: a crash before its failure is written would make the outcome unknown.
  for (Command* command : lanes_.TakeUnserved()) {
    EndUndelivered(*command, QOR_AGENT_REASON_NO_HANDLER);
  }
  for (Command* command : lanes_.TakeReady(now)) {
    if (command->state == State::kHeld && now + limits_.connection_ms > command->deadline &&
        command->outcome.reason == QOR_AGENT_REASON_NOT_CONNECTED) {
      // Another attempt would be in flight at the deadline, and the outcome unknown.
      lanes_.Release(command->type);
      continue;
    }
    command->was_sent_before = command->state == State::kSent;
    command->state = State::kSent;
    command->is_in_flight = true;
    NoteChange(*command);
    marked_.push_back(command);
  }
}

void Scheduler::EndOverdue(BootMs now) {
  while (!deadlines_.empty() && deadlines_.begin()->first.first <= now) {
    Command& command = *deadlines_.begin()->second;
    const bool is_marked = std::find(marked_.begin(), marked_.end(), &command) != marked_.end();
    lanes_.Remove(command);
    LeaveFlight(command);
    if (command.state == State::kSent && (!is_marked || command.was_sent_before)) {
      End(command, Outcome());
    } else if (!lanes_.IsServed(command.type)) {
      EndUndelivered(command, QOR_AGENT_REASON_NO_HANDLER);
    } else {
      const auto last_failure = command.outcome.reason;
      EndUndelivered(command, last_failure != QOR_AGENT_REASON_NONE ? last_failure
                                                                    : QOR_AGENT_REASON_NOT_SENT);
    }
  }
}

void Scheduler::ForgetOld(BootMs now) {
  while (!expiries_.empty() && expiries_.begin()->first.first <= now) {
    Command& command = *expiries_.begin()->second;
    expiries_.erase(expiries_.begin());
    erased_.push_back(command.sequence);
    changed_.erase(&command);
    bytes_ -= command.Bytes();
    commands_.erase(command.uuid);
  }
}

void Scheduler::NoteChange(const Command& command) {
  if (store_ != nullptr) changed_.insert(&command);
}

void Scheduler::Write() {
  if (store_ != nullptr && (!changed_.empty() || !erased_.empty())) {
    std::vector<const Command*> changed(changed_.begin(), changed_.end());
    std::sort(changed.begin(), changed.end(),
              [](const Command* a, const Command* b) { return a->sequence < b->sequence; });
    store_->Write(changed, erased_);
  }
  changed_.clear();
  erased_.clear();
  write_again_at_ = 0;
}

bool Scheduler::TryToWrite(BootMs now) {
  if (now < write_again_at_) return false;
  try {
    Write();
    return true;
  } catch (const Error& error) {
    if (write_again_at_ == 0 && observer_.on_log) observer_.on_log(error.what());
    write_again_at_ = now + kWriteRetryMs;
    return false;
  }
}

void Scheduler::Report() {
  // Those that end meanwhile are not written yet.
  for (std::size_t count = unreported_.size(); count > 0; --count) {
    Command ended;
    ended.uuid = std::move(unreported_.front());
    unreported_.pop_front();
    const auto found = commands_.find(ended.uuid);
    // Confirmed, and perhaps forgotten, before this report.
    if (found == commands_.end() || found->second.state != State::kEnded) continue;
    // Copies: the program may confirm it, which drops its texts.
    ended.type = found->second.type;
    ended.outcome = found->second.outcome;
    observer_.on_outcome(ended);
  }
}

void Scheduler::Send(const std::vector<Command*>& commands, BootMs now) {
  for (Command* command : commands) {
    switch (router_.Send(*command)) {
      case QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND:
        LeaveFlight(*command);
        OnNotDelivered(*command, QOR_AGENT_REASON_NO_HANDLER, now);
        break;
      case QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL:
        LeaveFlight(*command);
        OnNotDelivered(*command, QOR_AGENT_REASON_LAUNCH_FAILED, now);
        break;
      default:
        // Pending, or possibly so after an error.
        break;
    }
  }
}

BootMs Scheduler::NextRun() const {
  if (write_again_at_ != 0) return write_again_at_;
  const BootMs now = clock_.SinceBoot();
  if (!changed_.empty() || !erased_.empty() || !marked_.empty() || !unreported_.empty()) {
    return now;
  }
  BootMs next = lanes_.NextReady(now);
  if (!deadlines_.empty()) next = std::min(next, deadlines_.begin()->first.first);
  if (!expiries_.empty()) next = std::min(next, expiries_.begin()->first.first);
  return next;
}

}  // namespace qor::agent
