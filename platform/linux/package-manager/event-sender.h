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

// How long an installer waits for the acknowledgements of an event. Before an uninstall removes
// files, listeners get time to release the package. For other events the wait only makes listeners
// see the state that the event reports.
inline constexpr std::chrono::milliseconds kUninstallAckTimeout{5000};
inline constexpr std::chrono::milliseconds kEventAckTimeout{1000};

// Sends the events of one request to every listening process, including this one.
class EventSender {
 public:
  // Returns when the callbacks of every listener have returned, or after the timeout. A listener
  // that exceeds the timeout receives the request's later events, but is not waited for again.
  // Removes the sockets of exited listeners. Throws std::system_error when the folder of the
  // sockets cannot be read.
  void Send(const PackageEvent& event);

 private:
  struct Delivery;

  void AwaitAcks(std::vector<Delivery>* deliveries, std::chrono::milliseconds timeout);

  std::set<std::string> unresponsive_;
};

}  // namespace platform

#endif
