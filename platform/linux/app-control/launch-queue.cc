// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/launch-queue.h"

#include <dlog.h>

#include <exception>
#include <stdexcept>
#include <utility>

#include "platform/linux/app-control/launcher.h"
#include "platform/linux/common/file-lock.h"

namespace platform {
namespace {

// Longer than the interval on other threads, because each attempt takes time of the main loop.
constexpr std::chrono::milliseconds kRetryInterval(50);
constexpr int kMaxRetries = static_cast<int>(kLaunchLockTimeout / kRetryInterval);

}  // namespace

LaunchQueue::LaunchQueue(std::string app_id, Launch launch)
    : app_id_(std::move(app_id)), launch_(launch) {}

std::map<std::string, LaunchQueue>& LaunchQueue::Queues() {
  // Never destroyed: destructors of static objects may launch applications.
  static auto* const queues = new std::map<std::string, LaunchQueue>;
  return *queues;
}

bool LaunchQueue::IsWaiting(const std::string& app_id) { return Queues().count(app_id) != 0; }

void LaunchQueue::Add(const std::string& app_id, const std::vector<uint8_t>& request,
                      Launch launch) {
  const auto [found, is_new] = Queues().try_emplace(app_id, app_id, launch);
  LaunchQueue& queue = found->second;
  try {
    queue.requests_.push_back(request);
    if (is_new) queue.StartTimer();
  } catch (...) {
    if (is_new) Queues().erase(found);
    throw;
  }
}

void LaunchQueue::StartTimer() {
  timer_.Start(kRetryInterval, [this] { Retry(); });
}

bool LaunchQueue::LaunchAll() {
  while (!requests_.empty()) {
    if (!launch_(app_id_, requests_.front())) return false;
    requests_.pop_front();
  }
  return true;
}

void LaunchQueue::Retry() {
  try {
    if (!LaunchAll()) {
      if (++retries_ >= kMaxRetries) throw LaunchError(DescribeLaunchLock(app_id_));
      StartTimer();
      return;
    }
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLaunchLogTag, "lost %zu launch requests to %s: %s", requests_.size(),
               app_id_.c_str(), error.what());
  }
  Queues().erase(std::string(app_id_));
}

}  // namespace platform
