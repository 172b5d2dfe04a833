// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_REQUEST_DELIVERY_H_
#define PLATFORM_LINUX_APP_CONTROL_REQUEST_DELIVERY_H_

#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// A launch request that was sent to a running application and has not been acknowledged. The
// request is in the socket's buffer and is lost when the application exits before it reads the
// buffer, so the main loop waits for the acknowledgement.
class RequestDelivery final : private LoopObserver {
 public:
  using LostCallback = void (*)(const std::string& app_id, const std::vector<uint8_t>& request);

  // Sends the request; fails like SendMessage(). If the application closes the connection without
  // an acknowledgement, `on_lost` is called once on the main loop. Other threads than the main
  // loop's send the request without waiting for its acknowledgement.
  //
  // An application reads its requests in order, so only the latest request to an application is
  // waited for: an application that hangs costs one descriptor.
  static bool Send(const std::string& app_id, const std::vector<uint8_t>& request,
                   UniqueFd connection, std::chrono::milliseconds limit, LostCallback on_lost);

  // Called by Send() only; public for the container.
  RequestDelivery(const std::string& app_id, const std::vector<uint8_t>& request,
                  UniqueFd connection, LostCallback on_lost);

 private:
  static std::list<RequestDelivery>& InFlight();
  void OnReady(bool readable, bool writable) override;

  const EcoreReference ecore_;
  const std::string app_id_;
  const std::vector<uint8_t> request_;
  const UniqueFd connection_;
  const LostCallback on_lost_;
  LoopWatch watch_;
};

}  // namespace platform

#endif
