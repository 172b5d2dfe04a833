// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_SENDER_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_SENDER_H_

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "platform/linux/package-manager/package-event.h"

namespace platform {

// How long an installer waits for listeners whose main loop does not answer. Before an uninstall
// touches a file everyone gets time to let go of the package; for the other events the wait only
// keeps the order that listeners see the same as the installer's.
inline constexpr std::chrono::milliseconds kUninstallPatience{5000};
inline constexpr std::chrono::milliseconds kEventPatience{1000};

// Carries the events of one request to every listening process, this one included.
class EventSender {
 public:
  // Returns when every live listener's callbacks have returned, or after the limit. A listener that
  // let the limit pass gets the request's further events, but is not waited for again. Sockets of
  // dead listeners are removed. Throws std::system_error when the folder of sockets cannot be read.
  void Send(const PackageEvent& event);

 private:
  struct Delivery;

  void Await(std::vector<Delivery>* deliveries, std::chrono::milliseconds limit);

  std::set<std::string> silent_;
};

}  // namespace platform

#endif
