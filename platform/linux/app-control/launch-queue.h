// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_LAUNCH_QUEUE_H_
#define PLATFORM_LINUX_APP_CONTROL_LAUNCH_QUEUE_H_

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "platform/linux/common/ecore-reference.h"
#include "platform/linux/common/loop-timer.h"

namespace platform {

// Launch requests of this process to one application whose launch another process has locked. They
// are tried again by a timer, in their order; after kLaunchLockTimeout they are given up, which is
// logged as an error. For the main loop's thread alone.
class LaunchQueue {
 public:
  // Launches; false when the launch is still locked.
  using Launch = bool (*)(const std::string& app_id, const std::vector<uint8_t>& request);

  // Whether requests to the application wait: a new one then waits behind them.
  static bool IsWaiting(const std::string& app_id);
  // `launch` is called later, from the main loop. Throws std::bad_alloc.
  static void Add(const std::string& app_id, const std::vector<uint8_t>& request, Launch launch);

  // For Add() alone; public for the container.
  LaunchQueue(std::string app_id, Launch launch);

 private:
  static std::map<std::string, LaunchQueue>& Queues();
  void Retry();
  // False while the launch is locked.
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
