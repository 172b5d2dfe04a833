// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_AGENT_LINK_H_
#define QOR_HANDLER_SRC_AGENT_LINK_H_

#include <Ecore.h>

#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "connection.h"
#include "records.h"
#include "reply-pace.h"

namespace qor::internal {

// The way to one agent, through as many connections as it takes: connects again after a loss and
// keeps answers until they can be handed over. Main loop's thread only.
class AgentLink final : private Connection::Observer {
 public:
  class Receiver {
   public:
    virtual void OnCommand(ReceivedCommand command) = 0;
    virtual bool IsWorkingFor(const std::string& agent) const = 0;

   protected:
    ~Receiver() = default;
  };

  enum class Lifetime {
    kWhileNeeded,  // lets the connection rest when nothing is in work
    kAlways,       // is to be connected all the time
  };

  AgentLink(std::string agent, Receiver& receiver, std::size_t most_kept, Lifetime lifetime);
  AgentLink(const AgentLink&) = delete;
  AgentLink& operator=(const AgentLink&) = delete;
  ~AgentLink();

  // The agent has commands for us. Where we seem to be connected, it may have said so before it saw
  // us, or it has started anew and the end of the old connection is still to be heard of; the end
  // then makes us connect again.
  void OnWanted();

  // Sends an answer; keeps it for later when there is no connection. Of more than `most_kept` the
  // oldest goes.
  void Send(const std::string& uuid, Answer answer);
  bool AskForSeconds(const std::string& uuid, double seconds);

 private:
  void OnOpened() override;
  void OnCommand(ReceivedCommand command) override;
  void OnClosed() override;

  void Connect();
  bool TriesAgain() const;
  void ConnectIn(double seconds);
  void ConnectLater();
  void StopTimer();
  void SendKept();
  // Awaits the replies to all answers that were sent.
  void Settle();
  void SettleLater();
  void StopSettlingLater();

  const std::string agent_;
  Receiver& receiver_;
  const std::size_t most_kept_;
  const Lifetime lifetime_;
  std::unique_ptr<Connection> connection_;
  // Uuids and answers, oldest first. The first of them, so many, are sent and await a reply.
  std::deque<std::pair<std::string, Answer>> kept_;
  std::size_t sent_ = 0;
  ReplyPace pace_;
  Ecore_Idle_Enterer* settling_ = nullptr;
  bool is_wanted_ = false;
  bool was_open_ = false;
  double delay_;
  Ecore_Timer* timer_ = nullptr;
};

}  // namespace qor::internal

#endif
