// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-link.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

constexpr std::chrono::duration<double> kMinBackoff{0.2};
constexpr std::chrono::duration<double> kMaxBackoff{30};
// Bounds the answers that are sent again after a lost connection.
constexpr std::size_t kMaxUnacked = 64;

}  // namespace

AgentLink::AgentLink(std::string agent, Receiver& receiver, std::size_t max_pending,
                     Lifetime lifetime)
    : agent_(std::move(agent)),
      receiver_(receiver),
      max_pending_(max_pending),
      lifetime_(lifetime),
      backoff_(kMinBackoff) {}

AgentLink::~AgentLink() {
  StopTimer();
  StopIdleEnterer();
}

void AgentLink::OnFetchRequested() {
  is_fetch_requested_ = true;
  if (connection_ != nullptr && !connection_->IsClosed()) return;
  backoff_ = kMinBackoff;
  Connect();
}

void AgentLink::Send(const std::string& uuid, Answer answer) {
  pending_.emplace_back(uuid, std::move(answer));
  if (connection_ != nullptr && !connection_->IsClosed()) {
    // Fails while connecting; OnOpened() sends them then.
    SendPending();
  } else if (timer_ == nullptr) {
    backoff_ = kMinBackoff;
    ReconnectWithBackoff();
  }
  if (pending_.size() > max_pending_) {
    dlog_print(DLOG_ERROR, kLogTag, "too many pending answers for %s: dropped that of %s",
               agent_.c_str(), pending_.front().first.c_str());
    pending_.pop_front();
  }
}

bool AgentLink::RequestExtension(const std::string& uuid, double seconds) {
  // Replies come in the order of the calls.
  AwaitAcks();
  return connection_ != nullptr && connection_->RequestExtension(uuid, seconds) &&
         connection_->AwaitReply().value_or(false);
}

void AgentLink::OnOpened() {
  // With answers only once one is acknowledged: awaiting the acks of an agent that sends none
  // blocks the handler.
  if (pending_.empty()) backoff_ = kMinBackoff;
  is_fetch_requested_ = false;
  was_open_ = true;
  // Before fetching: the agent redelivers every command that it has no answer for.
  SendPending();
  if (connection_->IsOpen()) connection_->FetchCommands();
}

void AgentLink::OnCommand(ReceivedCommand command) {
  // The agent delivers over this connection, so it is not stale.
  is_fetch_requested_ = false;
  if (unacked_ > 0) batching_.OnCommandBeforeAck();
  receiver_.OnCommand(std::move(command));
}

void AgentLink::OnClosed() {
  // Send these again: whether they arrived is unknown.
  unacked_ = 0;
  StopIdleEnterer();
  if (!ShouldReconnect()) return;
  if (was_open_ && is_fetch_requested_) {
    ReconnectAfter(Seconds::zero());
  } else {
    ReconnectWithBackoff();
  }
}

bool AgentLink::IsIdle() const {
  const bool is_closed = connection_ == nullptr || connection_->IsClosed();
  return is_closed && timer_ == nullptr && lifetime_ == Lifetime::kOnDemand && pending_.empty() &&
         !receiver_.HasCommandsInFlight(agent_);
}

void AgentLink::Connect() {
  StopTimer();
  was_open_ = false;
  connection_ = std::make_unique<Connection>(agent_, static_cast<Connection::Observer&>(*this));
  if (!connection_->Connect() && ShouldReconnect()) ReconnectWithBackoff();
}

bool AgentLink::ShouldReconnect() const {
  if (lifetime_ == Lifetime::kPersistent || !pending_.empty()) return true;
  return (is_fetch_requested_ || receiver_.HasCommandsInFlight(agent_)) && backoff_ < kMaxBackoff;
}

void AgentLink::ReconnectWithBackoff() {
  ReconnectAfter(backoff_);
  backoff_ = std::min(backoff_ * 2, kMaxBackoff);
}

// Reconnecting replaces the connection, which must not happen inside its own OnClosed(): hence a
// timer even without a delay.
void AgentLink::ReconnectAfter(Seconds delay) {
  dlog_print(DLOG_INFO, kLogTag, "reconnecting to %s in %g s", agent_.c_str(), delay.count());
  StopTimer();
  timer_ = ecore_timer_add(
      delay.count(),
      [](void* data) -> Eina_Bool {
        auto* self = static_cast<AgentLink*>(data);
        self->timer_ = nullptr;
        try {
          self->Connect();
        } catch (const std::exception& error) {
          dlog_print(DLOG_ERROR, kLogTag, "cannot reconnect to %s: %s", self->agent_.c_str(),
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

void AgentLink::SendPending() {
  while (unacked_ < pending_.size()) {
    const auto& [uuid, answer] = pending_[unacked_];
    if (!connection_->SendResult(uuid, answer)) return;
    ++unacked_;
    if (batching_.MayDefer() && unacked_ < std::min(kMaxUnacked, max_pending_)) {
      AwaitAcksWhenIdle();
    } else {
      AwaitAcks();
    }
  }
}

void AgentLink::AwaitAcks() {
  if (unacked_ == 0) return;
  StopIdleEnterer();
  const std::size_t count = unacked_;
  while (unacked_ > 0) {
    const auto accepted = connection_->AwaitReply();
    // Closed; the answers stay pending.
    if (!accepted) return;
    backoff_ = kMinBackoff;
    if (!*accepted) {
      // Not retried: the agent would reject it again.
      dlog_print(DLOG_WARN, kLogTag, "%s rejected the answer to command %s", agent_.c_str(),
                 pending_.front().first.c_str());
    }
    pending_.pop_front();
    --unacked_;
  }
  batching_.OnAcks(count);
}

void AgentLink::AwaitAcksWhenIdle() {
  if (idle_enterer_ != nullptr) return;
  idle_enterer_ = ecore_idle_enterer_add(
      [](void* data) -> Eina_Bool {
        auto* self = static_cast<AgentLink*>(data);
        self->idle_enterer_ = nullptr;
        try {
          self->AwaitAcks();
        } catch (const std::exception& error) {
          dlog_print(DLOG_ERROR, kLogTag, "cannot await acks from %s: %s", self->agent_.c_str(),
                     error.what());
        }
        return ECORE_CALLBACK_CANCEL;
      },
      this);
  if (idle_enterer_ == nullptr) AwaitAcks();
}

void AgentLink::StopIdleEnterer() {
  if (idle_enterer_ != nullptr) ecore_idle_enterer_del(idle_enterer_);
  idle_enterer_ = nullptr;
}

}  // namespace qor::internal
