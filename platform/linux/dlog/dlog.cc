// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dlog.h>
#include <tizen.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "platform/linux/dlog/filter.h"
#include "platform/linux/dlog/line.h"
#include "platform/linux/dlog/output.h"
#include "platform/linux/dlog/rate-limit.h"

namespace {

using platform::dlog::Filter;
using platform::dlog::RateLimit;

Filter ReadFilter() {
  const char* text = std::getenv("DLOG_FILTER");
  if (text == nullptr) return Filter();
  if (const auto filter = Filter::Parse(text)) return *filter;
  dprintf(STDERR_FILENO,
          "dlog: DLOG_FILTER \"%s\" is invalid (expected TAG:PRIORITY ...), using *:W\n", text);
  return Filter();
}

struct Log {
  const Filter filter = ReadFilter();
  const int output = platform::dlog::OpenOutput();
};

// Never destroyed, because threads and destructors log until the process has exited.
const Log& GetLog() {
  static const Log& log = *new Log;
  return log;
}

// Returns the number of bytes written, 0 for a suppressed line, or -1 when it cannot be written.
int WriteLimited(int priority, const char* tag, const char* format,
                 const platform::dlog::Line& line) {
  // Never destroyed (see GetLog()) and never waited for: after a fork(), a thread of the parent may
  // hold it for ever.
  static std::mutex& mutex = *new std::mutex;
  static RateLimit limit;
  RateLimit::Decision decision{true, 0};
  if (priority >= DLOG_WARN) {
    const std::unique_lock<std::mutex> lock(mutex, std::try_to_lock);
    if (lock) decision = limit.Check(std::chrono::steady_clock::now(), tag, format, line.message());
  }
  if (!decision.is_admitted) return 0;
  if (decision.suppressed > 0) {
    dlog_print(static_cast<log_priority>(priority), tag,
               "suppressed %llu lines similar to the next",
               static_cast<unsigned long long>(decision.suppressed));
  }
  return platform::dlog::WriteOnce(GetLog().output, line.text(), line.size());
}

int Write(int priority, const char* tag, const char* format, va_list arguments) {
  const int saved_errno = errno;
  platform::dlog::Line line;
  int result = DLOG_ERROR_INVALID_PARAMETER;
  if (line.Format(priority, tag, format, arguments)) {
    result = WriteLimited(priority, tag, format, line);
    if (result < 0) result = DLOG_ERROR_NOT_PERMITTED;
  }
  errno = saved_errno;
  return result;
}

bool AreValid(int priority, const char* tag, const char* format) {
  return tag != nullptr && format != nullptr && priority >= DLOG_VERBOSE && priority < DLOG_SILENT;
}

}  // namespace

EXPORT_API int dlog_vprint(log_priority prio, const char* tag, const char* fmt, va_list ap) {
  if (!AreValid(prio, tag, fmt)) return DLOG_ERROR_INVALID_PARAMETER;
  if (!GetLog().filter.Passes(prio, tag)) return 0;
  return Write(prio, tag, fmt, ap);
}

EXPORT_API int dlog_print(log_priority prio, const char* tag, const char* fmt, ...) {
  if (!AreValid(prio, tag, fmt)) return DLOG_ERROR_INVALID_PARAMETER;
  if (!GetLog().filter.Passes(prio, tag)) return 0;
  va_list arguments;
  va_start(arguments, fmt);
  const int result = Write(prio, tag, fmt, arguments);
  va_end(arguments);
  return result;
}
