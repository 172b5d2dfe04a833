// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_LOGGING_H_
#define QOR_SRC_COMMON_LOGGING_H_

#include <dlog.h>

#include "common/platform-names.h"
#include "tizen/callback-guard.h"

// Every line goes to the platform log under one tag and begins with file, function and line.
//
// Log readers rely on some of the line numbers. The _AT forms take such a number as an argument, so
// that it stays when the code around it moves; the other forms use __LINE__.

namespace common {

using tizen::BaseName;

// Writes the exit line of a scope on every path out of it, at the priority of its enter line. Keeps
// the pointers to the texts. Allocates nothing, so that opening a scope cannot fail.
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

#define QOR_LOG(priority, line, prefix, format, ...)                                             \
  dlog_print(priority, common::kLogTag, prefix format, common::BaseName(__FILE__), __FUNCTION__, \
             line, ##__VA_ARGS__)

#define QOR_PREFIX_PLAIN "%s: %s: %d > "
#define QOR_PREFIX_GREEN "\033[0;32m%s: %s: %d > \033[0;m"
#define QOR_PREFIX_RED "\033[0;31m%s: %s: %d > \033[0;m"
#define QOR_PREFIX_ENTER "\033[0;36m%s: %s: %d > Enter \033[0;m"

#define QOR_DEBUG_AT(line, format, ...) \
  QOR_LOG(DLOG_DEBUG, line, QOR_PREFIX_PLAIN, format, ##__VA_ARGS__)
#define QOR_INFO_AT(line, format, ...) \
  QOR_LOG(DLOG_INFO, line, QOR_PREFIX_GREEN, format, ##__VA_ARGS__)
#define QOR_ERROR_AT(line, format, ...) \
  QOR_LOG(DLOG_ERROR, line, QOR_PREFIX_RED, format, ##__VA_ARGS__)

#define QOR_DEBUG(format, ...) QOR_DEBUG_AT(__LINE__, format, ##__VA_ARGS__)
#define QOR_INFO(format, ...) QOR_INFO_AT(__LINE__, format, ##__VA_ARGS__)
#define QOR_WARN(format, ...) QOR_LOG(DLOG_WARN, __LINE__, QOR_PREFIX_PLAIN, format, ##__VA_ARGS__)
#define QOR_ERROR(format, ...) QOR_ERROR_AT(__LINE__, format, ##__VA_ARGS__)

// Opens a scope: writes the enter line now and the exit line at the end of the scope.
#define QOR_SCOPE(priority, line, format, ...)                      \
  QOR_LOG(priority, line, QOR_PREFIX_ENTER, format, ##__VA_ARGS__); \
  const common::ScopeTrace scope_trace(priority, common::BaseName(__FILE__), __FUNCTION__)

#define QOR_FRAME_AT(line) QOR_SCOPE(DLOG_DEBUG, line, "")
#define QOR_FRAME() QOR_FRAME_AT(__LINE__)

#endif
