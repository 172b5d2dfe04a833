// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_PROXY_H_
#define PLATFORM_LINUX_RPC_PORT_PROXY_H_

#include <rpc-port.h>

#include <memory>
#include <string>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/rpc-port/callback-list.h"
#include "platform/linux/rpc-port/handshake.h"
#include "platform/linux/rpc-port/port.h"

namespace platform::rpc {

// The calling side of one connection. For the main loop's thread only. Every function may be called
// from inside every callback. After a connection has ended, the proxy can connect again.
//
// The main port is not watched once connected: callers read their replies from it directly. The
// callback port reports when the stub disconnects.
class Proxy final : public PortObserver, public std::enable_shared_from_this<Proxy> {
 public:
  // Both return an rpc_port_error_e. They fail without an event when there is no listener, the
  // caller lacks privileges, or the proxy is connected already. Otherwise exactly one connected or
  // rejected event follows: from the main loop, or before ConnectSync() returns.
  int Connect(const std::string& app_id, const std::string& port_name);
  int ConnectSync(const std::string& app_id, const std::string& port_name);
  // Disconnects without an event and removes all callbacks.
  void Destroy();

  bool IsConnected() const { return state_ == State::kConnected && !main_->IsShutDown(); }
  // The proxy must be connected.
  const Port& main() const { return *main_; }
  const Port& callback() const { return *callback_; }

  CallbackList<rpc_port_proxy_connected_event_cb> connected;
  CallbackList<rpc_port_proxy_disconnected_event_cb> disconnected;
  CallbackList<rpc_port_proxy_rejected_event_cb> rejected;
  CallbackList<rpc_port_proxy_received_event_cb> received;

 private:
  enum class State { kIdle, kAwaitingMainReply, kAwaitingCallbackReply, kConnected };
  // Arguments of callbacks. Shared, so that they stay valid when a callback disconnects.
  struct Target {
    std::string app_id;
    std::string port_name;
  };

  int Begin(const std::string& app_id, const std::string& port_name);
  std::shared_ptr<Port> ConnectPort(const Hello& hello);

  void OnReadable(Port* port) override;
  void Serve(Port& port);
  // The port of the next frame; null without a connection.
  Port* ExpectedPort() const;
  // Both return false when the connection must be closed.
  bool HandleReply();
  bool HandleFrame();
  bool OpenCallback(const Token& token);
  void FinishConnecting();
  void Reset();
  void Disconnect();

  const EcoreReference ecore_;
  State state_ = State::kIdle;
  std::shared_ptr<const Target> target_;
  std::shared_ptr<Port> main_;
  std::shared_ptr<Port> callback_;
  LoopTimer timeout_;
};

}  // namespace platform::rpc

#endif
