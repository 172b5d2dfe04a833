// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "courier.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace qor {

namespace {

constexpr double kSecondsBetweenLooks = 0.25;
constexpr double kGraceSeconds = 2;
constexpr double kMillisecondsPerSecond = 1000;

double LimitSeconds(const Timeouts& timeouts) {
  return kGraceSeconds + (static_cast<double>(timeouts.execution_ms) + timeouts.connection_ms) /
                             kMillisecondsPerSecond;
}

Outcome Refusal(const std::string& type, int error) {
  Outcome outcome;
  switch (error) {
    case QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND:
      outcome.ending = Ending::kNotSupported;
      outcome.error = "no handler serves " + type;
      break;
    case QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL:
      outcome.ending = Ending::kLaunchRefused;
      outcome.error = "the handler of " + type + " could not be launched";
      break;
    default:
      outcome.ending = Ending::kNotAccepted;
      outcome.error = type + " was not accepted: error " + std::to_string(error);
  }
  return outcome;
}

Ending EndingOf(const tools::Agent::Response& response) {
  if (response.status == QOR_REQUEST_STATUS_SUCCESS) return Ending::kSuccess;
  return tools::IsTimeout(response) ? Ending::kTimeout : Ending::kHandlerFailed;
}

}  // namespace

Courier::Courier(const Timeouts& timeouts, OnOutcome on_outcome)
    : timeouts_(timeouts),
      on_outcome_(std::move(on_outcome)),
      agent_(timeouts.execution_ms, timeouts.connection_ms),
      look_(ecore_timer_add(
          kSecondsBetweenLooks,
          [](void* self) -> Eina_Bool {
            static_cast<Courier*>(self)->EndOverdue();
            return ECORE_CALLBACK_RENEW;
          },
          this)) {
  agent_.SetResponseListener(
      [this](const tools::Agent::Response& response) { OnResponse(response); });
  agent_.SetNegotiator([this](const std::string& handler, const std::string& uuid, double seconds) {
    return Negotiate(handler, uuid, seconds);
  });
}

Courier::~Courier() { ecore_timer_del(look_); }

void Courier::Send(const std::string& uuid, const std::string& type, const std::string& payload,
                   int mark) {
  const auto now = Clock::now();
  Outcome outcome;
  // The library asks only the handler that gets it.
  if (sent_.count(uuid) != 0) {
    outcome.error = "the uuid " + uuid + " is pending already";
  } else {
    sent_[uuid] = {type, mark, now, Seconds(LimitSeconds(timeouts_))};
    const int error = agent_.Send(uuid, type, payload);
    if (error == QOR_HANDLER_MANAGER_ERROR_NONE) return;
    sent_.erase(uuid);
    outcome = Refusal(type, error);
  }
  outcome.uuid = uuid;
  outcome.type = type;
  outcome.mark = mark;
  outcome.milliseconds = MillisecondsSince(now);
  on_outcome_(outcome);
}

void Courier::SetTimeouts(const Timeouts& timeouts) {
  agent_.Configure(timeouts.execution_ms, timeouts.connection_ms);
  timeouts_ = timeouts;
}

double Courier::MillisecondsSince(Clock::time_point since) {
  return std::chrono::duration<double, std::milli>(Clock::now() - since).count();
}

void Courier::OnResponse(const tools::Agent::Response& response) {
  Outcome outcome;
  outcome.ending = EndingOf(response);
  outcome.uuid = response.uuid;
  outcome.status = response.status;
  outcome.result = response.result;
  outcome.error = response.error;
  const auto found = sent_.find(response.uuid);
  if (found == sent_.end()) {
    if (on_late_) on_late_(outcome);
    return;
  }
  outcome.type = found->second.type;
  outcome.mark = found->second.mark;
  outcome.milliseconds = MillisecondsSince(found->second.since);
  sent_.erase(found);
  on_outcome_(outcome);
}

bool Courier::Negotiate(const std::string& handler, const std::string& uuid, double seconds) {
  if (negotiator_ && !negotiator_(handler, uuid, seconds)) return false;
  const auto found = sent_.find(uuid);
  if (found != sent_.end()) {
    Sent& sent = found->second;
    const Seconds granted = Clock::now() - sent.since + Seconds(kGraceSeconds + seconds);
    sent.limit = std::max(sent.limit, granted);
  }
  return true;
}

void Courier::EndOverdue() {
  std::vector<Outcome> overdue;
  for (auto command = sent_.begin(); command != sent_.end();) {
    const auto& [uuid, sent] = *command;
    if (Clock::now() - sent.since < sent.limit) {
      ++command;
      continue;
    }
    Outcome outcome;
    outcome.ending = Ending::kNoAnswer;
    outcome.uuid = uuid;
    outcome.type = sent.type;
    outcome.mark = sent.mark;
    outcome.error =
        "no answer: the handler connected, but did not ask for its commands, or the "
        "command lost its timeout among others";
    outcome.milliseconds = MillisecondsSince(sent.since);
    overdue.push_back(std::move(outcome));
    command = sent_.erase(command);
  }
  for (const Outcome& outcome : overdue) on_outcome_(outcome);
}

}  // namespace qor
