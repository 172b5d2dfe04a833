// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_STUB_H_
#define PLATFORM_LINUX_RPC_PORT_STUB_H_

#include <rpc-port.h>

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/linux/common/loop-watch.h"
#include "platform/linux/rpc-port/callback-list.h"
#include "platform/linux/rpc-port/client.h"
#include "platform/linux/rpc-port/connection-limit.h"
#include "platform/linux/rpc-port/listener.h"
#include "platform/linux/rpc-port/pending-connection.h"

namespace platform::rpc {

// The serving side of one port. An accepted connection is pending until its handshake; it then
// becomes the main port of a new client or the callback port of a client. For the main loop's
// thread only. Every function may be called from inside every callback.
class Stub final : public PendingConnectionHost,
                   public ClientHost,
                   public AcceptObserver,
                   public std::enable_shared_from_this<Stub> {
 public:
  // Connections without a complete handshake. Beyond it the oldest is rejected: a cooperative proxy
  // sends its hello immediately.
  static constexpr size_t kMaxPendingConnections = 64;

  explicit Stub(const std::string& port_name) : port_name_(port_name) {}

  void AddPrivilege(const std::string& privilege) { privileges_.push_back(privilege); }
  // Throws std::system_error when the port has an owner or the socket cannot be created, and
  // std::runtime_error when this process cannot be identified.
  void Listen();
  // Closes all connections without raising events.
  void Destroy();

  // Returns null unless both connections of the client are open.
  const Client* FindClient(const std::string& instance) const;

  CallbackList<rpc_port_stub_connected_event_cb> connected;
  CallbackList<rpc_port_stub_disconnected_event_cb> disconnected;
  CallbackList<rpc_port_stub_received_event_cb> received;

 private:
  void OnAccepted(UniqueFd fd) override;
  void OnHello(const std::shared_ptr<PendingConnection>& pending, const Hello& hello) override;
  void OnPendingClosed(const std::shared_ptr<PendingConnection>& pending) override;
  int OnFrame(const Client& client) override;
  void OnClientDisconnected(const std::shared_ptr<Client>& client) override;

  void EvictOldestPending();
  void Admit(const std::shared_ptr<PendingConnection>& pending);
  void Join(const std::shared_ptr<PendingConnection>& pending, const Token& token);
  void Forget(const std::shared_ptr<Client>& client);
  void Reject(const std::shared_ptr<PendingConnection>& pending, const std::string& app_id,
              const std::string& cause);

  const EcoreReference ecore_;
  const std::string port_name_;
  std::vector<std::string> privileges_;
  std::unique_ptr<Listener> listener_;
  std::list<std::shared_ptr<PendingConnection>> pending_;  // oldest first
  bool is_eviction_logged_ = false;
  ConnectionLimit limit_;
  std::map<std::string, std::shared_ptr<Client>> clients_;  // by instance
};

}  // namespace platform::rpc

#endif
