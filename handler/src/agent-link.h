// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_AGENT_LINK_H_
#define QOR_HANDLER_SRC_AGENT_LINK_H_

#include <Ecore.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "ack-batching.h"
#include "connection.h"
#include "records.h"

namespace qor::internal {

// The link to one agent across reconnects. Keeps each answer until the agent has acknowledged it,
// and sends it again over the next connection otherwise. Main loop's thread only.
class AgentLink final : private Connection::Observer {
 public:
  class Receiver {
   public:
    virtual void OnCommand(ReceivedCommand command) = 0;
    virtual bool HasCommandsInFlight(const std::string& agent) const = 0;

   protected:
    ~Receiver() = default;
  };

  enum class Lifetime {
    kOnDemand,    // not reconnected while nothing is in flight or pending
    kPersistent,  // always reconnected
  };

  // The receiver must outlive the link. Of more than `max_pending` answers the oldest is dropped.
  AgentLink(std::string agent, Receiver& receiver, std::size_t max_pending, Lifetime lifetime);
  AgentLink(const AgentLink&) = delete;
  AgentLink& operator=(const AgentLink&) = delete;
  ~AgentLink();

  // The agent asks this handler to fetch commands; connects unless connected. The request may also
  // reach a connection that the agent has already dropped: its close then reconnects at once.
  void OnFetchRequested();

  // Queues an answer and sends it as soon as there is a connection.
  void Send(const std::string& uuid, Answer answer);
  // Returns whether the agent grants the extension. Blocks until the agent replies.
  bool RequestExtension(const std::string& uuid, double seconds);
  // Whether there is nothing to keep until the agent's next fetch request.
  bool IsIdle() const;

 private:
  using Seconds = std::chrono::duration<double>;

  void OnOpened() override;
  void OnCommand(ReceivedCommand command) override;
  void OnClosed() override;

  void Connect();
  bool ShouldReconnect() const;
  void ReconnectAfter(Seconds delay);
  void ReconnectWithBackoff();
  void StopTimer();
  void SendPending();
  void AwaitAcks();
  void AwaitAcksWhenIdle();
  void StopIdleEnterer();

  const std::string agent_;
  Receiver& receiver_;
  const std::size_t max_pending_;
  const Lifetime lifetime_;
  std::unique_ptr<Connection> connection_;
  // Uuids and answers, oldest first. The first `unacked_` of them are sent and await their acks.
  std::deque<std::pair<std::string, Answer>> pending_;
  std::size_t unacked_ = 0;
  AckBatching batching_;
  Ecore_Idle_Enterer* idle_enterer_ = nullptr;
  // Since the last command or successful connect.
  bool is_fetch_requested_ = false;
  bool was_open_ = false;
  Seconds backoff_;
  Ecore_Timer* timer_ = nullptr;
};

}  // namespace qor::internal

#endif
