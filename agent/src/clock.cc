// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "clock.h"

#include <ctime>
#include <fstream>

namespace qor::agent {

namespace {

std::int64_t Read(clockid_t clock) {
  timespec time = {};
  clock_gettime(clock, &time);
  return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

}  // namespace

WallMs SystemClock::Wall() const { return Read(CLOCK_REALTIME); }

BootMs SystemClock::SinceBoot() const { return Read(CLOCK_BOOTTIME); }

std::string SystemClock::BootId() const {
  std::string id;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
  return id;
}

}  // namespace qor::agent
