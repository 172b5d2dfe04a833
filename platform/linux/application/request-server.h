// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APPLICATION_REQUEST_SERVER_H_
#define PLATFORM_LINUX_APPLICATION_REQUEST_SERVER_H_

#include <app_control.h>

#include <functional>

#include "platform/linux/common/message-server.h"

namespace platform {

// Receives launch requests on a listening socket, on the Ecore main loop.
class RequestServer final : private MessageObserver {
 public:
  // The request belongs to the server and is destroyed when the callback returns.
  using Callback = std::function<void(app_control_h)>;

  // Throws std::runtime_error when the socket cannot be added to the main loop.
  RequestServer(UniqueFd listening_socket, Callback callback);

 private:
  void OnMessage(const std::vector<uint8_t>& bytes, const PeerCredentials& sender,
                 const UniqueFd& connection) noexcept override;

  const Callback callback_;
  MessageServer server_;
};

}  // namespace platform

#endif
