// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LAUNCH_QUEUE_H_
#define PLATFORM_LINUX_APP_CONTROL_LAUNCH_QUEUE_H_

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/loop-watch.h"

namespace platform {

// The launch requests of this process to one application whose launch lock another process holds.
// A timer retries them in order. After kLaunchLockTimeout they are dropped and an error is logged.
// Main loop's thread only.
class LaunchQueue {
 public:
  // Launches the application with the request. Returns false while the lock is held.
  using Launch = bool (*)(const std::string& app_id, const std::vector<uint8_t>& request);

  // Whether requests to the application are queued. New requests must then be queued too, to keep
  // their order.
  static bool IsWaiting(const std::string& app_id);
  // Queues the request; `launch` is called from the main loop. Throws std::bad_alloc.
  static void Add(const std::string& app_id, const std::vector<uint8_t>& request, Launch launch);

  // Called by Add() only; public for the container.
  LaunchQueue(std::string app_id, Launch launch);

 private:
  static std::map<std::string, LaunchQueue>& Queues();
  void Retry();
  // Returns false while the lock is held.
  bool LaunchAll();
  void StartTimer();

  const EcoreReference ecore_;
  const std::string app_id_;
  const Launch launch_;
  std::deque<std::vector<uint8_t>> requests_;
  int retries_ = 0;
  LoopTimer timer_;
};

}  // namespace platform

#endif
