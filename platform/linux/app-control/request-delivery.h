// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_REQUEST_DELIVERY_H_
#define PLATFORM_LINUX_APP_CONTROL_REQUEST_DELIVERY_H_

#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "platform/linux/common/ecore-reference.h"
#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// A request on its way to an application that ran already. The kernel takes it at once, and the
// application may yet end before it does: the main loop waits for its acknowledgement.
class Delivery final : private LoopObserver {
 public:
  using NotTaken = void (*)(const std::string& app_id, const std::vector<uint8_t>& request);

  // Sends the request; fails as SendMessage() does. `not_taken` is called later, once, when the
  // application has closed the connection without an acknowledgement. That is known only of what
  // the main loop's thread starts.
  //
  // An application takes its requests in order, so that the latest one to it speaks for those
  // before: only that is waited for. However long an application rests, it costs one descriptor.
  static bool Start(const std::string& app_id, const std::vector<uint8_t>& request,
                    UniqueFd connection, std::chrono::milliseconds limit, NotTaken not_taken);

  // For Start() alone; public for the container.
  Delivery(const std::string& app_id, const std::vector<uint8_t>& request, UniqueFd connection,
           NotTaken not_taken);

 private:
  static std::list<Delivery>& Underway();
  void OnReady(bool readable, bool writable) override;

  const EcoreReference ecore_;
  const std::string app_id_;
  const std::vector<uint8_t> request_;
  const UniqueFd connection_;
  const NotTaken not_taken_;
  LoopWatch watch_;
};

}  // namespace platform

#endif
