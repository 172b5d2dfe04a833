// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_LOGGING_H_
#define QOR_SRC_COMMON_LOGGING_H_

#include <dlog.h>

#include "tizen/log.h"

// Every line goes to the platform log under one tag, led by file, function and line.
//
// Log readers rely on some of the line numbers. Those are written out at the call (the _AT forms),
// so that a line keeps its number when the code around it moves; all others are where they stand.

namespace common {

using tizen::BaseName;
using tizen::kLogTag;

// Writes the exit line of a scope on every way out, at the priority of its enter line. The texts
// must last as long; nothing is allocated, so that opening a scope cannot fail.
class ScopeTrace {
 public:
  ScopeTrace(log_priority priority, const char* file, const char* function) noexcept
      : priority_(priority), file_(file), function_(function) {}
  ScopeTrace(const ScopeTrace&) = delete;
  ScopeTrace& operator=(const ScopeTrace&) = delete;
  ~ScopeTrace() {
    dlog_print(priority_, kLogTag, "\033[0;36m%s: %s > Exit\033[0;m", file_, function_);
  }

 private:
  log_priority priority_;
  const char* file_;
  const char* function_;
};

}  // namespace common

#define QOR_LOG(priority, line, lead, format, ...)                                             \
  dlog_print(priority, common::kLogTag, lead format, common::BaseName(__FILE__), __FUNCTION__, \
             line, ##__VA_ARGS__)

#define QOR_LEAD_PLAIN "%s: %s: %d > "
#define QOR_LEAD_GREEN "\033[0;32m%s: %s: %d > \033[0;m"
#define QOR_LEAD_RED "\033[0;31m%s: %s: %d > \033[0;m"
#define QOR_LEAD_ENTER "\033[0;36m%s: %s: %d > Enter \033[0;m"

#define QOR_DEBUG_AT(line, format, ...) \
  QOR_LOG(DLOG_DEBUG, line, QOR_LEAD_PLAIN, format, ##__VA_ARGS__)
#define QOR_INFO_AT(line, format, ...) \
  QOR_LOG(DLOG_INFO, line, QOR_LEAD_GREEN, format, ##__VA_ARGS__)
#define QOR_ERROR_AT(line, format, ...) \
  QOR_LOG(DLOG_ERROR, line, QOR_LEAD_RED, format, ##__VA_ARGS__)

#define QOR_DEBUG(format, ...) QOR_DEBUG_AT(__LINE__, format, ##__VA_ARGS__)
#define QOR_INFO(format, ...) QOR_INFO_AT(__LINE__, format, ##__VA_ARGS__)
#define QOR_WARN(format, ...) QOR_LOG(DLOG_WARN, __LINE__, QOR_LEAD_PLAIN, format, ##__VA_ARGS__)
#define QOR_ERROR(format, ...) QOR_ERROR_AT(__LINE__, format, ##__VA_ARGS__)

// Opens a scope: the enter line now, the exit line on the way out.
#define QOR_SCOPE(priority, line, format, ...)                    \
  QOR_LOG(priority, line, QOR_LEAD_ENTER, format, ##__VA_ARGS__); \
  const common::ScopeTrace scope_trace(priority, common::BaseName(__FILE__), __FUNCTION__)

#define QOR_FRAME_AT(line) QOR_SCOPE(DLOG_DEBUG, line, "")
#define QOR_FRAME() QOR_FRAME_AT(__LINE__)

#endif
