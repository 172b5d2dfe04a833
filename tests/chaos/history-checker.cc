// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "history-checker.h"

#include <utility>

namespace chaos {

using tools::record::Event;
using tools::record::EventKind;

const char* NameOf(UntimedReason reason) {
  switch (reason) {
    case UntimedReason::kGrowth:
      return "list reallocated";
    case UntimedReason::kRemoval:
      return "last in the list when another command ended";
    case UntimedReason::kConnect:
      return "handler connected without requesting commands";
    case UntimedReason::kMoved:
      return "timer fired for its old position";
  }
  return "";
}

HistoryChecker::HistoryChecker(std::function<bool(const std::string& handler)> is_misbehaving)
    : is_misbehaving_(std::move(is_misbehaving)) {}

void HistoryChecker::OnEvent(const Event& event) {
  Connect();
  if (expiring_ && (event.kind != EventKind::kTimedOut || event.uuid != expiring_->uuid)) {
    AddViolation("timer fired without a timeout", expiring_->uuid, expiring_->handler);
    expiring_.reset();
  }
  switch (event.kind) {
    case EventKind::kStart:
      ++tally_.agents;
      OnAgentExited();
      break;
    case EventKind::kSent:
      Send(event);
      break;
    case EventKind::kRouted:
      commands_[event.uuid].handler = event.handler;
      break;
    case EventKind::kLaunched:
      ++tally_.launches;
      commands_[event.uuid].is_launched = true;
      break;
    case EventKind::kAccepted:
      Accept(event.uuid);
      sending_.clear();
      break;
    case EventKind::kRefused:
      ++tally_.refused;
      commands_[event.uuid].state = State::kRefused;
      sending_.clear();
      break;
    case EventKind::kConnected:
      connecting_ = event.handler;
      break;
    case EventKind::kDelivered:
      ++tally_.deliveries;
      Deliver(event);
      break;
    case EventKind::kExtension:
      ++tally_.extensions;
      break;
    case EventKind::kAnswered:
      Answer(event);
      break;
    case EventKind::kTimedOut:
      TimeOut(event);
      break;
    case EventKind::kDisconnected:
      ++epochs_[event.handler];
      break;
    case EventKind::kStopped:
      ++tally_.stops;
      DropAll();
      break;
    case EventKind::kExited:
    case EventKind::kEnd:
      break;
  }
}

void HistoryChecker::OnTimerFired(int timer) {
  Connect();
  if (expiring_) {
    AddViolation("timer fired without a timeout", expiring_->uuid, expiring_->handler);
  }
  expiring_.reset();
  if (!clock_.PositionOf(timer)) {
    return AddViolation("timer " + std::to_string(timer) + " fired, but should have been deleted",
                        "");
  }
  expiring_ = CommandExpiredBy(timer);
  // The timer's owner, unless it is the command that times out.
  for (auto& [handler, list] : lists_) {
    for (const model::Command& command : list.commands.Commands()) {
      if (command.timer == timer && (!expiring_ || expiring_->uuid != command.uuid)) {
        list.untimed[command.uuid] = UntimedReason::kMoved;
      }
    }
  }
  if (!expiring_) clock_.Delete(timer);
}

void HistoryChecker::OnAgentExited() {
  connecting_.reset();
  DropAll();
  clock_ = model::Clock();
  // The agent has exited in the middle of a send or a timeout.
  sending_.clear();
  expiring_.reset();
}

bool HistoryChecker::HasSucceeded(const std::string& uuid) const {
  const auto found = commands_.find(uuid);
  return found != commands_.end() && found->second.state == State::kSucceeded;
}

void HistoryChecker::Finish() {
  Connect();
  if (expiring_) AddViolation("timer fired without a timeout", expiring_->uuid);
  for (const auto timer : clock_.Timers()) {
    const auto expiring = CommandExpiredBy(timer);
    AddViolation("timer " + std::to_string(timer) + " has not fired",
                 expiring ? expiring->uuid : "", expiring ? expiring->handler : "");
  }
  for (const auto& [handler, list] : lists_) {
    for (const model::Command& command : list.commands.Commands()) {
      if (clock_.PositionOf(command.timer)) continue;
      const auto reason = list.untimed.find(command.uuid);
      if (reason == list.untimed.end()) {
        AddViolation("pending without a timer and without a reason", command.uuid, handler);
      } else {
        ++tally_.untimed[reason->second];
      }
    }
  }
}

void HistoryChecker::AddViolation(const std::string& text, const std::string& uuid,
                                  const std::string& handler) {
  violations_.push_back({text, uuid, handler});
}

HistoryChecker::CommandRecord* HistoryChecker::Find(const std::string& uuid) {
  const auto found = commands_.find(uuid);
  return found != commands_.end() ? &found->second : nullptr;
}

HistoryChecker::List& HistoryChecker::ListOf(const std::string& handler) {
  return lists_.try_emplace(handler, List{model::Pending(&clock_, &last_block_), {}}).first->second;
}

void HistoryChecker::UpdateList(const std::string& handler, UntimedReason reason,
                                const std::function<void(List&)>& change) {
  List& list = ListOf(handler);
  std::vector<std::string> with_timer;
  for (const model::Command& command : list.commands.Commands())
    if (clock_.PositionOf(command.timer)) with_timer.push_back(command.uuid);
  change(list);
  for (const std::string& uuid : with_timer) {
    const model::Command* command = list.commands.Find(uuid);
    if (command != nullptr && !clock_.PositionOf(command->timer)) list.untimed[uuid] = reason;
  }
}

void HistoryChecker::DropAll() {
  for (auto& [handler, list] : lists_) {
    for (const model::Command& command : list.commands.Commands()) {
      commands_[command.uuid].state = State::kDropped;
      ++tally_.dropped;
    }
  }
  lists_.clear();
  clock_.DeleteAll();
}

int HistoryChecker::ConnectionEpoch(const std::string& handler) {
  return epochs_[handler] + tally_.agents + tally_.stops;
}

std::optional<HistoryChecker::ExpiringCommand> HistoryChecker::CommandExpiredBy(
    model::Clock::Timer timer) {
  const auto place = clock_.PositionOf(timer);
  if (!place) return std::nullopt;
  for (auto& [handler, list] : lists_) {
    if (const model::Command* command = list.commands.At(*place)) {
      return ExpiringCommand{handler, command->uuid, timer};
    }
  }
  return std::nullopt;
}

void HistoryChecker::Send(const Event& event) {
  if (commands_.count(event.uuid) != 0) AddViolation("sent twice", event.uuid);
  sending_ = event.uuid;
  commands_[event.uuid].payload_hash = std::hash<std::string>()(event.payload);
}

void HistoryChecker::Accept(const std::string& uuid) {
  ++tally_.accepted;
  CommandRecord& record = commands_[uuid];
  if (record.handler.empty()) return AddViolation("accepted without a handler", uuid);
  if (record.state != State::kSending) AddViolation("accepted twice", uuid, record.handler);
  record.state = State::kPending;
  UpdateList(record.handler, UntimedReason::kGrowth, [&](List& list) {
    model::Command command;
    command.uuid = uuid;
    command.timeout = record.is_launched ? model::Timeout::kConnection : model::Timeout::kExecution;
    list.commands.StartTimer(&list.commands.Append(command), 0);
  });
}

void HistoryChecker::Connect() {
  if (!connecting_) return;
  const std::string handler = *std::exchange(connecting_, std::nullopt);
  ++tally_.connections;
  ++epochs_[handler];
  UpdateList(handler, UntimedReason::kConnect, [](List& list) {
    for (model::Command& command : list.commands.Commands()) list.commands.StopTimer(&command);
  });
}

void HistoryChecker::Deliver(const Event& event) {
  // Delivered while being sent: Accept() starts the timer.
  if (event.uuid == sending_) return;
  List& list = ListOf(event.handler);
  model::Command* command = list.commands.Find(event.uuid);
  if (command == nullptr)
    return AddViolation("delivered, but not pending", event.uuid, event.handler);
  // A handler that requests commands receives all of them, starting with the first.
  if (command == list.commands.Commands().data()) {
    UpdateList(event.handler, UntimedReason::kConnect, [](List& changed) {
      for (model::Command& other : changed.commands.Commands())
        if (!other.sent) changed.commands.StopTimer(&other);
    });
  }
  command->sent = true;
  command->timeout = model::Timeout::kExecution;
  list.commands.StartTimer(command, 0);
  list.untimed.erase(event.uuid);
}

void HistoryChecker::Answer(const Event& event) {
  CommandRecord* record = Find(event.uuid);
  const bool is_misbehaving = is_misbehaving_(event.handler);
  if (record == nullptr || record->handler != event.handler) {
    ++tally_.unsolicited;
    if (!is_misbehaving) AddViolation("answered by the wrong handler", event.uuid, event.handler);
    return;
  }
  const int epoch = ConnectionEpoch(event.handler);
  if (record->answered_epoch == epoch && !is_misbehaving) {
    AddViolation("answered twice on one connection", event.uuid, event.handler);
  }
  record->answered_epoch = epoch;
  ApplyAnswer(event, *record);
}

void HistoryChecker::ApplyAnswer(const Event& event, CommandRecord& record) {
  const bool is_success = event.status == 0;
  if (is_success && std::hash<std::string>()(event.result) != record.payload_hash) {
    AddViolation("answered with the result of another command", event.uuid, event.handler);
  }
  if (record.state == State::kSending || record.state == State::kRefused) {
    return AddViolation("answered, but not accepted", event.uuid, event.handler);
  }
  if (record.state != State::kPending) {
    ++tally_.late;
    return;
  }
  ++tally_.answered;
  record.state = is_success ? State::kSucceeded : State::kFailed;
  UpdateList(event.handler, UntimedReason::kRemoval, [&](List& list) {
    if (model::Command* command = list.commands.Find(event.uuid)) list.commands.StopTimer(command);
    list.commands.Remove(event.uuid);
    list.untimed.erase(event.uuid);
  });
}

void HistoryChecker::TimeOut(const Event& event) {
  const auto expiring = std::exchange(expiring_, std::nullopt);
  CommandRecord* record = Find(event.uuid);
  if (record == nullptr) return AddViolation("timed out, but never sent", event.uuid);
  if (record->state != State::kPending) {
    return AddViolation("timed out, but not pending", event.uuid, record->handler);
  }
  ++tally_.timed_out;
  record->state = State::kTimedOut;
  if (!expiring) AddViolation("timed out without a timer", event.uuid, record->handler);
  UpdateList(record->handler, UntimedReason::kRemoval, [&](List& list) {
    model::Command* command = list.commands.Find(event.uuid);
    const bool is_connection = command->timeout == model::Timeout::kConnection;
    if (is_connection != (event.limit == "connection")) {
      AddViolation("timed out by the wrong timeout", event.uuid, record->handler);
    }
    command->expired = true;
    list.commands.Remove(event.uuid);
    list.untimed.erase(event.uuid);
  });
  if (expiring) clock_.Delete(expiring->timer);
}

}  // namespace chaos
