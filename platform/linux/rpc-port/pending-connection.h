// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_PENDING_CONNECTION_H_
#define PLATFORM_LINUX_RPC_PORT_PENDING_CONNECTION_H_

#include <memory>
#include <string>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/handshake.h"
#include "platform/linux/rpc-port/port.h"

namespace platform::rpc {

class PendingConnection;

class PendingConnectionHost {
 public:
  // The pending said hello: it is to be taken in or refused.
  virtual void OnHello(const std::shared_ptr<PendingConnection>& pending, const Hello& hello) = 0;
  // It went, or was sent away, without one.
  virtual void OnPendingClosed(const std::shared_ptr<PendingConnection>& pending) = 0;

 protected:
  ~PendingConnectionHost() = default;
};

// An accepted connection of which nothing is known yet but the process behind it.
class PendingConnection final : public PortObserver,
                                public std::enable_shared_from_this<PendingConnection> {
 public:
  PendingConnection(UniqueFd fd, const std::weak_ptr<PendingConnectionHost>& host);
  ~PendingConnection();

  // Waits for its hello, for a limited time.
  void Start();

  const PeerCredentials& peer() const { return peer_; }
  // Hands its port over, unwatched: the pending is none any more.
  std::shared_ptr<Port> TakePort();
  // Tells it why it is not wanted and closes its port.
  void Reject(const std::string& cause);

 private:
  void OnReadable(Port* port) override;
  void Serve(Port* port);
  void Leave();

  const PeerCredentials peer_;
  const std::weak_ptr<PendingConnectionHost> host_;
  std::shared_ptr<Port> port_;
  LoopTimer timeout_;
};

}  // namespace platform::rpc

#endif
