// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-link.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

constexpr double kFirstDelaySeconds = 0.2;
constexpr double kLongestDelaySeconds = 30;
constexpr std::size_t kMostUnsettled = 64;

}  // namespace

AgentLink::AgentLink(std::string agent, Receiver& receiver, std::size_t most_kept,
                     Lifetime lifetime)
    : agent_(std::move(agent)),
      receiver_(receiver),
      most_kept_(most_kept),
      lifetime_(lifetime),
      delay_(kFirstDelaySeconds) {}

AgentLink::~AgentLink() {
  StopTimer();
  StopSettlingLater();
}

void AgentLink::OnWanted() {
  is_wanted_ = true;
  if (connection_ != nullptr && !connection_->IsOver()) return;
  delay_ = kFirstDelaySeconds;
  Connect();
}

void AgentLink::Send(const std::string& uuid, Answer answer) {
  kept_.emplace_back(uuid, std::move(answer));
  if (connection_ != nullptr && !connection_->IsOver()) {
    // While it is being connected they go when it stands.
    SendKept();
  } else if (timer_ == nullptr) {
    delay_ = kFirstDelaySeconds;
    ConnectLater();
  }
  if (kept_.size() > most_kept_) {
    dlog_print(DLOG_ERROR, kLogTag, "too many answers wait for %s, that of %s is lost",
               agent_.c_str(), kept_.front().first.c_str());
    kept_.pop_front();
  }
}

bool AgentLink::AskForSeconds(const std::string& uuid, double seconds) {
  // Replies come in order.
  Settle();
  return connection_ != nullptr && connection_->AskForSeconds(uuid, seconds) &&
         connection_->AwaitReply().value_or(false);
}

void AgentLink::OnOpened() {
  delay_ = kFirstDelaySeconds;
  is_wanted_ = false;
  was_open_ = true;
  // First what is done, so that the agent does not deliver it again.
  SendKept();
  if (connection_->IsOpen()) connection_->FetchCommands();
}

void AgentLink::OnCommand(ReceivedCommand command) {
  // The agent sees us.
  is_wanted_ = false;
  if (sent_ > 0) pace_.OnCommandBeforeReply();
  receiver_.OnCommand(std::move(command));
}

void AgentLink::OnClosed() {
  // To be sent again: nobody knows whether they arrived.
  sent_ = 0;
  StopSettlingLater();
  if (!TriesAgain()) return;
  if (was_open_ && is_wanted_) {
    ConnectIn(0);
  } else {
    ConnectLater();
  }
}

void AgentLink::Connect() {
  StopTimer();
  was_open_ = false;
  connection_ = std::make_unique<Connection>(agent_, static_cast<Connection::Observer&>(*this));
  if (!connection_->Connect() && TriesAgain()) ConnectLater();
}

bool AgentLink::TriesAgain() const {
  if (lifetime_ == Lifetime::kAlways || !kept_.empty()) return true;
  return (is_wanted_ || receiver_.IsWorkingFor(agent_)) && delay_ < kLongestDelaySeconds;
}

void AgentLink::ConnectLater() {
  ConnectIn(delay_);
  delay_ = std::min(delay_ * 2, kLongestDelaySeconds);
}

// Also keeps a connection's end from destroying it while it is on the stack.
void AgentLink::ConnectIn(double seconds) {
  StopTimer();
  timer_ = ecore_timer_add(
      seconds,
      [](void* data) -> Eina_Bool {
        auto* self = static_cast<AgentLink*>(data);
        self->timer_ = nullptr;
        try {
          self->Connect();
        } catch (const std::exception& error) {
          dlog_print(DLOG_ERROR, kLogTag, "cannot connect again to %s: %s", self->agent_.c_str(),
                     error.what());
        }
        return ECORE_CALLBACK_CANCEL;
      },
      this);
}

void AgentLink::StopTimer() {
  if (timer_ != nullptr) ecore_timer_del(timer_);
  timer_ = nullptr;
}

void AgentLink::SendKept() {
  while (sent_ < kept_.size()) {
    const auto& [uuid, answer] = kept_[sent_];
    if (!connection_->SendResult(uuid, answer)) return;
    ++sent_;
    if (pace_.MayWait() && sent_ < std::min(kMostUnsettled, most_kept_)) {
      SettleLater();
    } else {
      Settle();
    }
  }
}

void AgentLink::Settle() {
  if (sent_ == 0) return;
  StopSettlingLater();
  const std::size_t count = sent_;
  while (sent_ > 0) {
    // Taken out only when it has arrived.
    const auto taken = connection_->AwaitReply();
    if (!taken) return;
    if (!*taken) {
      dlog_print(DLOG_WARN, kLogTag, "%s does not take the answer of %s", agent_.c_str(),
                 kept_.front().first.c_str());
    }
    kept_.pop_front();
    --sent_;
  }
  pace_.OnReplies(count);
}

void AgentLink::SettleLater() {
  if (settling_ != nullptr) return;
  settling_ = ecore_idle_enterer_add(
      [](void* data) -> Eina_Bool {
        auto* self = static_cast<AgentLink*>(data);
        self->settling_ = nullptr;
        try {
          self->Settle();
        } catch (const std::exception& error) {
          dlog_print(DLOG_ERROR, kLogTag, "the replies of %s were not awaited: %s",
                     self->agent_.c_str(), error.what());
        }
        return ECORE_CALLBACK_CANCEL;
      },
      this);
  if (settling_ == nullptr) Settle();
}

void AgentLink::StopSettlingLater() {
  if (settling_ != nullptr) ecore_idle_enterer_del(settling_);
  settling_ = nullptr;
}

}  // namespace qor::internal
