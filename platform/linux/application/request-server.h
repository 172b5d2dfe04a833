// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APPLICATION_REQUEST_SERVER_H_
#define PLATFORM_LINUX_APPLICATION_REQUEST_SERVER_H_

#include <app_control.h>

#include <functional>
#include <list>

#include "platform/linux/common/accept-pause.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// Takes launch requests from a listening socket on the Ecore main loop, in the order in which the
// senders connected. Senders that are slow or talk nonsense hold nobody else up.
class RequestServer final : private LoopTarget {
 public:
  // The request belongs to the server and dies when the callback returns.
  using Callback = std::function<void(app_control_h)>;

  // Throws std::runtime_error when the main loop refuses.
  RequestServer(UniqueFd listening_socket, Callback callback);
  ~RequestServer();

 private:
  class Connection;

  void OnReady(bool readable, bool writable) override;
  void Accept();

  const Callback callback_;
  std::list<Connection> connections_;
  // Closed before the connections: who then finds its request not taken starts a new process.
  const UniqueFd socket_;
  LoopWatch watch_;
  AcceptPause pause_;
};

}  // namespace platform

#endif
