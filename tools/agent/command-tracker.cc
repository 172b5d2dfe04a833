// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent/command-tracker.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace tools {

namespace {

constexpr double kOverdueCheckSeconds = 0.25;
// Longer than the library's own timeouts can be late on a busy machine.
constexpr double kGraceSeconds = 2;
constexpr double kMillisecondsPerSecond = 1000;

double LimitSeconds(const Timeouts& timeouts) {
  return kGraceSeconds + (static_cast<double>(timeouts.execution_ms) + timeouts.connection_ms) /
                             kMillisecondsPerSecond;
}

Outcome Rejection(const std::string& type, int error) {
  Outcome outcome;
  switch (error) {
    case QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND:
      outcome.kind = OutcomeKind::kNotSupported;
      outcome.error = "no handler serves " + type;
      break;
    case QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL:
      outcome.kind = OutcomeKind::kLaunchFailed;
      outcome.error = "the handler of " + type + " could not be launched";
      break;
    default:
      outcome.kind = OutcomeKind::kNotAccepted;
      outcome.error = type + " was not accepted: error " + std::to_string(error);
  }
  return outcome;
}

OutcomeKind KindOf(const Agent::Response& response) {
  if (response.status == QOR_REQUEST_STATUS_SUCCESS) return OutcomeKind::kSuccess;
  return IsTimeout(response) ? OutcomeKind::kTimeout : OutcomeKind::kHandlerFailed;
}

}  // namespace

CommandTracker::CommandTracker(const Timeouts& timeouts, OnOutcome on_outcome)
    : timeouts_(timeouts),
      on_outcome_(std::move(on_outcome)),
      agent_(timeouts.execution_ms, timeouts.connection_ms),
      overdue_timer_(ecore_timer_add(
          kOverdueCheckSeconds,
          [](void* self) -> Eina_Bool {
            static_cast<CommandTracker*>(self)->ExpireOverdue();
            return ECORE_CALLBACK_RENEW;
          },
          this)) {
  agent_.SetResponseListener([this](const Agent::Response& response) { OnResponse(response); });
  agent_.SetNegotiator([this](const std::string& handler, const std::string& uuid, double seconds) {
    return Negotiate(handler, uuid, seconds);
  });
}

CommandTracker::~CommandTracker() { ecore_timer_del(overdue_timer_); }

void CommandTracker::Send(const std::string& uuid, const std::string& type,
                          const std::string& payload, int tag) {
  const auto now = Clock::now();
  Outcome outcome;
  // The library detects a duplicate uuid only within the handler that gets the command.
  if (pending_.count(uuid) != 0) {
    outcome.error = "the uuid " + uuid + " is already pending";
  } else {
    pending_[uuid] = {type, tag, now, Seconds(LimitSeconds(timeouts_))};
    const int error = agent_.Send(uuid, type, payload);
    if (error == QOR_HANDLER_MANAGER_ERROR_NONE) return;
    pending_.erase(uuid);
    outcome = Rejection(type, error);
  }
  outcome.uuid = uuid;
  outcome.type = type;
  outcome.tag = tag;
  outcome.latency_ms = MillisecondsSince(now);
  on_outcome_(outcome);
}

void CommandTracker::SetTimeouts(const Timeouts& timeouts) {
  agent_.Configure(timeouts.execution_ms, timeouts.connection_ms);
  timeouts_ = timeouts;
}

double CommandTracker::MillisecondsSince(Clock::time_point since) {
  return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

void CommandTracker::OnResponse(const Agent::Response& response) {
  Outcome outcome;
  outcome.kind = KindOf(response);
  outcome.uuid = response.uuid;
  outcome.status = response.status;
  outcome.result = response.result;
  outcome.error = response.error;
  const auto found = pending_.find(response.uuid);
  if (found == pending_.end()) {
    if (on_late_) on_late_(outcome);
    return;
  }
  outcome.type = found->second.type;
  outcome.tag = found->second.tag;
  outcome.latency_ms = MillisecondsSince(found->second.sent);
  pending_.erase(found);
  on_outcome_(outcome);
}

bool CommandTracker::Negotiate(const std::string& handler, const std::string& uuid,
                               double seconds) {
  if (negotiator_ && !negotiator_(handler, uuid, seconds)) return false;
  const auto found = pending_.find(uuid);
  if (found != pending_.end()) {
    Pending& command = found->second;
    const Seconds granted = Clock::now() - command.sent + Seconds(kGraceSeconds + seconds);
    command.limit = std::max(command.limit, granted);
  }
  return true;
}

void CommandTracker::ExpireOverdue() {
  // Collected first: the listener may send, which changes the map.
  std::vector<Outcome> overdue;
  for (auto entry = pending_.begin(); entry != pending_.end();) {
    const auto& [uuid, command] = *entry;
    if (Clock::now() - command.sent < command.limit) {
      ++entry;
      continue;
    }
    Outcome outcome;
    outcome.kind = OutcomeKind::kNoAnswer;
    outcome.uuid = uuid;
    outcome.type = command.type;
    outcome.tag = command.tag;
    outcome.error =
        "no answer: the handler connected but did not fetch its commands, or the command lost its "
        "timeout to another";
    outcome.latency_ms = MillisecondsSince(command.sent);
    overdue.push_back(std::move(outcome));
    entry = pending_.erase(entry);
  }
  for (const Outcome& outcome : overdue) on_outcome_(outcome);
}

}  // namespace tools
