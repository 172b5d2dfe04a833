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

// One connection to one agent: connecting, then open, then closed for good. Main loop's thread
// only.
class Connection {
 public:
  class Observer {
   public:
    virtual void OnOpened() = 0;
    virtual void OnCommand(ReceivedCommand command) = 0;
    // The connection was rejected or has ended. Must not destroy the connection, which is on the
    // stack.
    virtual void OnClosed() = 0;

   protected:
    ~Observer() = default;
  };

  Connection(std::string agent, Observer& observer);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  // Closes without calling the observer.
  ~Connection();

  // Returns false when connecting fails at once; else OnOpened() or OnClosed() follows.
  bool Connect();
  bool IsOpen() const { return state_ == State::kOpen; }
  bool IsClosed() const { return state_ == State::kClosed; }

  // Requests every unanswered command and all later ones.
  void FetchCommands();
  // Calls of the agent, each with one reply. They return false when the connection is closed;
  // OnClosed() has been called then.
  bool SendResult(const std::string& uuid, const Answer& answer);
  bool RequestExtension(const std::string& uuid, double seconds);
  // Blocks until the agent replies to the oldest of these calls. Returns nothing after a timeout;
  // the connection is closed then, because a late reply could be mistaken for the next one, and
  // OnClosed() has been called.
  std::optional<bool> AwaitReply();

 private:
  enum class State { kConnecting, kOpen, kClosed };

  void Open();
  void Close();
  void Receive();
  rpc_port_h Port(rpc_port_port_type_e type) const;
  bool Call(const wire::Parcel& call);
  void Abort();

  const std::string agent_;
  Observer& observer_;
  rpc_port_proxy_h proxy_ = nullptr;
  State state_ = State::kConnecting;
};

}  // namespace qor::internal

#endif
