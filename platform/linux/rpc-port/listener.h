// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_LISTENER_H_
#define PLATFORM_LINUX_RPC_PORT_LISTENER_H_

#include <string>

#include "platform/linux/common/accept-backoff.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/owned-socket.h"

namespace platform::rpc {

class AcceptObserver {
 public:
  // A new connection. Nothing was received from it yet.
  virtual void OnAccepted(UniqueFd fd) = 0;

 protected:
  ~AcceptObserver() = default;
};

// Accepts the connections to one port on the main loop.
class Listener final : private LoopObserver {
 public:
  // Throws like OwnedSocket. The observer must outlive the listener.
  Listener(const std::string& owner, const std::string& port_name, AcceptObserver* observer);

 private:
  void OnReady(bool readable, bool writable) override;
  void BackOff(int error);

  const std::string port_name_;
  AcceptObserver* const observer_;
  OwnedSocket socket_;
  LoopWatch watch_;
  AcceptBackoff backoff_;
  // Whether the current failure to accept was logged.
  bool is_logged_ = false;
};

}  // namespace platform::rpc

#endif
