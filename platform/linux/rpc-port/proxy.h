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

// The calling side of one connection. For the main loop's thread. Every function may be called from
// inside every callback; once a connection ended another can be made.
//
// Replies are taken from the main port by whoever waits for them, so that nobody watches it; the
// callback port tells when the stub is gone.
class Proxy final : public PortObserver, public std::enable_shared_from_this<Proxy> {
 public:
  // Both return a rpc_port_error_e and raise no event where nobody listens, the caller may not
  // connect, or there is a connection already. Else one connected or rejected event comes: from the
  // main loop, or before ConnectSync returns.
  int Connect(const std::string& app_id, const std::string& port_name);
  int ConnectSync(const std::string& app_id, const std::string& port_name);
  // Ends everything without an event.
  void Destroy();

  bool IsConnected() const { return state_ == State::kConnected && !main_->IsShutDown(); }
  // Of a connected proxy.
  const Port& main() const { return *main_; }
  const Port& callback() const { return *callback_; }

  CallbackList<rpc_port_proxy_connected_event_cb> connected;
  CallbackList<rpc_port_proxy_disconnected_event_cb> disconnected;
  CallbackList<rpc_port_proxy_rejected_event_cb> rejected;
  CallbackList<rpc_port_proxy_received_event_cb> received;

 private:
  enum class State { kIdle, kAwaitingMainReply, kAwaitingCallbackReply, kConnected };
  // What callbacks are told; they keep it even when they end the connection.
  struct Target {
    std::string app_id;
    std::string port_name;
  };

  int Begin(const std::string& app_id, const std::string& port_name);
  std::shared_ptr<Port> ConnectPort(const Hello& hello);

  void OnReadable(Port* port) override;
  void Serve(Port& port);
  // Where the next frame comes from; null without a connection.
  Port* ExpectedPort() const;
  // Both are false when the connection is over.
  bool HandleReply();
  bool HandleFrame();
  bool OpenCallback(const Token& token);
  void FinishConnecting();
  void Reset();
  void End();

  const EcoreReference ecore_;
  State state_ = State::kIdle;
  std::shared_ptr<const Target> target_;
  std::shared_ptr<Port> main_;
  std::shared_ptr<Port> callback_;
  LoopTimer timeout_;
};

}  // namespace platform::rpc

#endif
