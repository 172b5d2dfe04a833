// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_CONNECTION_H_
#define QOR_HANDLER_SRC_CONNECTION_H_

#include <rpc-port.h>

#include <optional>
#include <string>

#include "records.h"
#include "wire.h"

namespace qor::internal {

// One connection to one agent, from the try to connect to the end. Main loop's thread only.
class Connection {
 public:
  class Observer {
   public:
    virtual void OnOpened() = 0;
    virtual void OnCommand(ReceivedCommand command) = 0;
    // It was refused, or has ended. Must not destroy the connection, which is on the stack.
    virtual void OnClosed() = 0;

   protected:
    ~Observer() = default;
  };

  Connection(std::string agent, Observer& observer);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  // No event any more.
  ~Connection();

  // False when connecting fails at once; else OnOpened() or OnClosed() follows.
  bool Connect();
  bool IsOpen() const { return state_ == State::kOpen; }
  bool IsOver() const { return state_ == State::kOver; }

  // Asks the agent for every command that waits for an answer, and for those to come.
  void FetchCommands();
  // False when the connection is over; OnClosed() has been called then. The agent replies to each.
  bool SendResult(const std::string& uuid, const Answer& answer);
  bool AskForSeconds(const std::string& uuid, double seconds);
  // Waits for the agent's reply to the oldest of these. Nothing when it does not come; the
  // connection is over then, because a late reply could not be told from the next one, and
  // OnClosed() has been called.
  std::optional<bool> AwaitReply();

 private:
  enum class State { kConnecting, kOpen, kOver };

  void Open();
  void Close();
  void Receive();
  rpc_port_h Port(rpc_port_port_type_e type) const;
  bool Call(const wire::Parcel& call);
  void GiveUp();

  const std::string agent_;
  Observer& observer_;
  rpc_port_proxy_h proxy_ = nullptr;
  State state_ = State::kConnecting;
};

}  // namespace qor::internal

#endif
