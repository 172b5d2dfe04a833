// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/dlog/line.h"

#include <dlog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace platform::dlog {

bool Line::Format(int priority, const char* tag, const char* format, va_list arguments) {
  FormatPrefix(priority, tag);
  prefix_size_ = size_;
  const int length = std::vsnprintf(text_ + size_, kMaxMessage + 1, format, arguments);
  if (length < 0) return false;
  size_ += std::min(static_cast<size_t>(length), kMaxMessage);
  text_[size_++] = '\n';
  return true;
}

void Line::FormatPrefix(int priority, const char* tag) {
  static constexpr char kLetters[] = "VDIWEF";
  timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  tm local;
  localtime_r(&now.tv_sec, &local);
  char day_and_time[32];
  char zone[16];
  std::strftime(day_and_time, sizeof(day_and_time), "%m-%d %H:%M:%S", &local);
  std::strftime(zone, sizeof(zone), "%z", &local);
  const int length = std::snprintf(
      text_, kMaxPrefix, "%s.%03ld%s %5d %5d %c %-8.200s: ", day_and_time, now.tv_nsec / 1000000,
      zone, getpid(), gettid(), kLetters[priority - DLOG_VERBOSE], tag);
  size_ = std::min(static_cast<size_t>(std::max(length, 0)), kMaxPrefix - 1);
}

}  // namespace platform::dlog
