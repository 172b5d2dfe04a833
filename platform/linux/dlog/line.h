// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_DLOG_LINE_H_
#define PLATFORM_LINUX_DLOG_LINE_H_

#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace platform::dlog {

// A message longer than this many bytes is cut.
constexpr size_t kMaxMessage = 4096;

// A line of the log in the threadtime format, with its line end, formatted without allocation:
//   12-26 07:06:02.084+0000 11097 11097 D MY_APP  : message
// Control characters and invalid bytes in the arguments are escaped (text/printable.h), because
// arguments may come from other processes. Those of the format itself are kept.
class Line {
 public:
  // False when vsnprintf() rejects the format.
  bool Format(int priority, const char* tag, const char* format, va_list arguments);

  const char* text() const { return text_; }
  size_t size() const { return size_; }
  // Without the prefix and the line end.
  std::string_view message() const { return {text_ + prefix_size_, size_ - prefix_size_ - 1}; }

 private:
  void FormatPrefix(int priority, const char* tag);
  // Escapes the message of `length` bytes in place. Returns its new length.
  size_t EscapeArguments(size_t length, const char* format, va_list arguments);

  // Longer tags are cut, so that the message always has kMaxMessage bytes.
  static constexpr size_t kMaxPrefix = 320;

  char text_[kMaxPrefix + kMaxMessage + 1];
  size_t size_ = 0;
  size_t prefix_size_ = 0;
};

}  // namespace platform::dlog

#endif
