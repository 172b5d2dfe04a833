// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "account.h"

#include <utility>

namespace chaos {

using tools::record::Event;
using tools::record::EventKind;

const char* NameOf(Rule rule) {
  switch (rule) {
    case Rule::kGrowth:
      return "the list grew";
    case Rule::kRemoval:
      return "last when another ended";
    case Rule::kConnect:
      return "connected, nothing asked";
    case Rule::kMoved:
      return "timer fired at its old place";
  }
  return "";
}

Account::Account(std::function<bool(const std::string& handler)> is_rude)
    : is_rude_(std::move(is_rude)) {}

void Account::Enter(const Event& event) {
  Connect();
  if (expiring_ && (event.kind != EventKind::kTimedOut || event.uuid != expiring_->uuid)) {
    Blame("its timer fired, and no timeout was told", expiring_->uuid, expiring_->handler);
    expiring_.reset();
  }
  switch (event.kind) {
    case EventKind::kStart:
      ++totals_.agents;
      EnterAgentEnded();
      break;
    case EventKind::kSent: {
      if (lives_.count(event.uuid) != 0) Blame("sent twice", event.uuid);
      sending_ = event.uuid;
      lives_[event.uuid].payload = std::hash<std::string>()(event.payload);
      break;
    }
    case EventKind::kRouted:
      lives_[event.uuid].handler = event.handler;
      break;
    case EventKind::kLaunched:
      ++totals_.launches;
      lives_[event.uuid].is_launched = true;
      break;
    case EventKind::kAccepted:
      Accept(event.uuid);
      sending_.clear();
      break;
    case EventKind::kRefused:
      ++totals_.refused;
      lives_[event.uuid].state = State::kRefused;
      sending_.clear();
      break;
    case EventKind::kConnected:
      connecting_ = event.handler;
      break;
    case EventKind::kDelivered:
      ++totals_.deliveries;
      Deliver(event);
      break;
    case EventKind::kExtension:
      ++totals_.extensions;
      break;
    case EventKind::kAnswered:
      Answer(event);
      break;
    case EventKind::kTimedOut:
      TimeOut(event);
      break;
    case EventKind::kDisconnected:
      ++breaks_[event.handler];
      break;
    case EventKind::kStopped:
      ++totals_.stops;
      DropAll();
      break;
    case EventKind::kEnd:
      break;
  }
}

void Account::EnterFired(int timer) {
  Connect();
  if (expiring_) {
    Blame("its timer fired, and no timeout was told", expiring_->uuid, expiring_->handler);
  }
  expiring_.reset();
  if (!clock_.PositionOf(timer)) {
    return Blame("timer " + std::to_string(timer) + " fired, which by the rules had ended", "");
  }
  expiring_ = OccupantOf(timer);
  // Whose timer it was, if not the one that it ends.
  for (auto& [handler, list] : lists_) {
    for (const model::Command& command : list.commands.Commands()) {
      if (command.timer == timer && (!expiring_ || expiring_->uuid != command.uuid)) {
        list.without_timer[command.uuid] = Rule::kMoved;
      }
    }
  }
  if (!expiring_) clock_.Delete(timer);
}

void Account::EnterAgentEnded() {
  connecting_.reset();
  DropAll();
  clock_ = model::Clock();
  // Whatever was under way does not come any more.
  sending_.clear();
  expiring_.reset();
}

bool Account::HasSucceeded(const std::string& uuid) const {
  const auto found = lives_.find(uuid);
  return found != lives_.end() && found->second.state == State::kSucceeded;
}

void Account::Close() {
  Connect();
  if (expiring_) Blame("its timer fired, and no timeout was told", expiring_->uuid);
  for (const auto timer : clock_.Timers()) {
    const auto expiring = OccupantOf(timer);
    Blame("timer " + std::to_string(timer) + " does not fire", expiring ? expiring->uuid : "",
          expiring ? expiring->handler : "");
  }
  for (const auto& [handler, list] : lists_) {
    for (const model::Command& command : list.commands.Commands()) {
      if (clock_.PositionOf(command.timer)) continue;
      const auto rule = list.without_timer.find(command.uuid);
      if (rule == list.without_timer.end()) {
        Blame("it waits without a timer, by no rule", command.uuid, handler);
      } else {
        ++totals_.waiting[rule->second];
      }
    }
  }
}

void Account::Blame(const std::string& text, const std::string& uuid, const std::string& handler) {
  faults_.push_back({text, uuid, handler});
}

Account::Life* Account::Find(const std::string& uuid) {
  const auto found = lives_.find(uuid);
  return found != lives_.end() ? &found->second : nullptr;
}

Account::List& Account::ListOf(const std::string& handler) {
  return lists_.try_emplace(handler, List{model::Pending(&clock_, &last_block_), {}}).first->second;
}

void Account::Change(const std::string& handler, Rule rule,
                     const std::function<void(List&)>& change) {
  List& list = ListOf(handler);
  std::vector<std::string> with_timer;
  for (const model::Command& command : list.commands.Commands())
    if (clock_.PositionOf(command.timer)) with_timer.push_back(command.uuid);
  change(list);
  for (const std::string& uuid : with_timer) {
    const model::Command* command = list.commands.Find(uuid);
    if (command != nullptr && !clock_.PositionOf(command->timer)) list.without_timer[uuid] = rule;
  }
}

void Account::DropAll() {
  for (auto& [handler, list] : lists_) {
    for (const model::Command& command : list.commands.Commands()) {
      lives_[command.uuid].state = State::kDropped;
      ++totals_.dropped;
    }
  }
  lists_.clear();
  clock_.DeleteAll();
}

int Account::Breaks(const std::string& handler) {
  return breaks_[handler] + totals_.agents + totals_.stops;
}

std::optional<Account::Expiring> Account::OccupantOf(model::Clock::Timer timer) {
  const auto place = clock_.PositionOf(timer);
  if (!place) return std::nullopt;
  for (auto& [handler, list] : lists_) {
    if (const model::Command* command = list.commands.At(*place)) {
      return Expiring{handler, command->uuid, timer};
    }
  }
  return std::nullopt;
}

void Account::Accept(const std::string& uuid) {
  ++totals_.accepted;
  Life& life = lives_[uuid];
  if (life.handler.empty()) return Blame("accepted, and given to nobody", uuid);
  if (life.state != State::kSending) Blame("accepted twice", uuid, life.handler);
  life.state = State::kPending;
  Change(life.handler, Rule::kGrowth, [&](List& list) {
    model::Command command;
    command.uuid = uuid;
    command.timeout = life.is_launched ? model::Timeout::kConnection : model::Timeout::kExecution;
    list.commands.StartTimer(&list.commands.Append(command), 0);
  });
}

void Account::Connect() {
  if (!connecting_) return;
  const std::string handler = *std::exchange(connecting_, std::nullopt);
  ++totals_.connections;
  ++breaks_[handler];
  Change(handler, Rule::kConnect, [](List& list) {
    for (model::Command& command : list.commands.Commands()) list.commands.StopTimer(&command);
  });
}

void Account::Deliver(const Event& event) {
  // Within a send its timer has been started.
  if (event.uuid == sending_) return;
  List& list = ListOf(event.handler);
  model::Command* command = list.commands.Find(event.uuid);
  if (command == nullptr) return Blame("delivered, but not pending", event.uuid, event.handler);
  // A handler that asks gets all of them, the first one first.
  if (command == list.commands.Commands().data()) {
    Change(event.handler, Rule::kConnect, [](List& changed) {
      for (model::Command& other : changed.commands.Commands())
        if (!other.sent) changed.commands.StopTimer(&other);
    });
  }
  command->sent = true;
  command->timeout = model::Timeout::kExecution;
  list.commands.StartTimer(command, 0);
  list.without_timer.erase(event.uuid);
}

void Account::Answer(const Event& event) {
  Life* life = Find(event.uuid);
  const bool is_rude = is_rude_(event.handler);
  if (life == nullptr || life->handler != event.handler) {
    ++totals_.unasked;
    if (!is_rude) Blame("answered by one who was not asked", event.uuid, event.handler);
    return;
  }
  const int breaks = Breaks(event.handler);
  if (life->answered_at == breaks && !is_rude) {
    Blame("answered twice over one connection", event.uuid, event.handler);
  }
  life->answered_at = breaks;
  TakeAnswer(event, *life);
}

void Account::TakeAnswer(const Event& event, Life& life) {
  const bool is_success = event.status == 0;
  if (is_success && std::hash<std::string>()(event.result) != life.payload) {
    Blame("answered with another one's result", event.uuid, event.handler);
  }
  if (life.state == State::kSending || life.state == State::kRefused) {
    return Blame("answered, but never taken", event.uuid, event.handler);
  }
  if (life.state != State::kPending) {
    ++totals_.late;
    return;
  }
  ++totals_.answered;
  life.state = is_success ? State::kSucceeded : State::kFailed;
  Change(event.handler, Rule::kRemoval, [&](List& list) {
    if (model::Command* command = list.commands.Find(event.uuid)) list.commands.StopTimer(command);
    list.commands.Remove(event.uuid);
    list.without_timer.erase(event.uuid);
  });
}

void Account::TimeOut(const Event& event) {
  const auto expiring = std::exchange(expiring_, std::nullopt);
  Life* life = Find(event.uuid);
  if (life == nullptr) return Blame("timed out, but never sent", event.uuid);
  if (life->state != State::kPending) {
    return Blame("timed out, but not pending", event.uuid, life->handler);
  }
  ++totals_.timed_out;
  life->state = State::kTimedOut;
  if (!expiring) Blame("timed out without a timer", event.uuid, life->handler);
  Change(life->handler, Rule::kRemoval, [&](List& list) {
    model::Command* command = list.commands.Find(event.uuid);
    const bool is_connection = command->timeout == model::Timeout::kConnection;
    if (is_connection != (event.limit == "connection")) {
      Blame("timed out by the wrong limit", event.uuid, life->handler);
    }
    command->expired = true;
    list.commands.Remove(event.uuid);
    list.without_timer.erase(event.uuid);
  });
  if (expiring) clock_.Delete(expiring->timer);
}

}  // namespace chaos
