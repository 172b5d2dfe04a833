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
  // The hello was received. The host takes the port or rejects the connection.
  virtual void OnHello(const std::shared_ptr<PendingConnection>& pending, const Hello& hello) = 0;
  // The connection was closed before its hello.
  virtual void OnPendingClosed(const std::shared_ptr<PendingConnection>& pending) = 0;

 protected:
  ~PendingConnectionHost() = default;
};

// An accepted connection before its hello. Only its process is known, from the kernel.
class PendingConnection final : public PortObserver,
                                public std::enable_shared_from_this<PendingConnection> {
 public:
  PendingConnection(UniqueFd fd, const std::weak_ptr<PendingConnectionHost>& host);
  ~PendingConnection();

  // Waits for the hello, up to kHandshakeTimeout.
  void Start();

  const PeerCredentials& peer() const { return peer_; }
  // Transfers the port, which is no longer watched, and ends the pending state.
  std::shared_ptr<Port> TakePort();
  // Sends the cause to the proxy and closes the port.
  void Reject(const std::string& cause);

 private:
  void OnReadable(Port* port) override;
  void Serve(Port* port);
  void Close();

  const PeerCredentials peer_;
  const std::weak_ptr<PendingConnectionHost> host_;
  std::shared_ptr<Port> port_;
  LoopTimer timeout_;
};

}  // namespace platform::rpc

#endif
