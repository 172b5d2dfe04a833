// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/dlog/line.h"

#include <dlog.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "text/printable.h"

namespace platform::dlog {

bool Line::Format(int priority, const char* tag, const char* format, va_list arguments) {
  FormatPrefix(priority, tag);
  prefix_size_ = size_;
  va_list again;
  va_copy(again, arguments);
  const int result = std::vsnprintf(text_ + size_, kMaxMessage + 1, format, arguments);
  if (result >= 0) {
    size_t length = std::min(static_cast<size_t>(result), kMaxMessage);
    if (!text::IsPrintable({text_ + size_, length})) {
      length = EscapeArguments(length, format, again);
    }
    size_ += length;
    text_[size_++] = '\n';
  }
  va_end(again);
  return result >= 0;
}

size_t Line::EscapeArguments(size_t length, const char* format, va_list arguments) {
  char* const message = text_ + size_;
  char raw[kMaxMessage];
  std::memcpy(raw, message, length);
  size_t done = 0;
  size_t written = 0;
  const auto escape_until = [&](size_t end) {
    written +=
        text::WritePrintable({raw + done, end - done}, message + written, kMaxMessage - written);
    done = end;
  };
  // The position of a control character of the format in the message is the length of the text that
  // the format before it produces.
  char before[256];
  for (size_t i = 0; i < sizeof(before) && format[i] != '\0'; ++i) {
    before[i] = format[i];
    if (static_cast<unsigned char>(format[i]) >= ' ') continue;
    before[i] = '\0';
    va_list copy;
    va_copy(copy, arguments);
    const int position = std::vsnprintf(nullptr, 0, before, copy);
    va_end(copy);
    before[i] = format[i];
    if (position < 0 || static_cast<size_t>(position) >= length) break;
    escape_until(static_cast<size_t>(position));
    if (written < kMaxMessage) message[written++] = raw[done];
    ++done;
  }
  escape_until(length);
  return written;
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
