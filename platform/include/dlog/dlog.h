/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef PLATFORM_DLOG_H_
#define PLATFORM_DLOG_H_

/* The platform log. Thread-safe, and usable without initialization. */
#include <stdarg.h>
#include <string.h>
#include <tizen_error.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  DLOG_ERROR_NONE = TIZEN_ERROR_NONE,
  DLOG_ERROR_INVALID_PARAMETER = TIZEN_ERROR_INVALID_PARAMETER,
  DLOG_ERROR_NOT_PERMITTED = TIZEN_ERROR_NOT_PERMITTED
} dlog_error_e;

typedef enum {
  DLOG_UNKNOWN = 0,
  DLOG_DEFAULT,
  DLOG_VERBOSE,
  DLOG_DEBUG,
  DLOG_INFO,
  DLOG_WARN,
  DLOG_ERROR,
  DLOG_FATAL,
  DLOG_SILENT,
  DLOG_PRIO_MAX
} log_priority;

/* Writes a line with the tag. Returns the number of bytes written (0 when the filter drops the
   line) or a negative dlog_error_e. A NULL tag or format is DLOG_ERROR_INVALID_PARAMETER. */
int dlog_print(log_priority prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
int dlog_vprint(log_priority prio, const char* tag, const char* fmt, va_list ap)
    __attribute__((format(printf, 3, 0)));

#ifdef __cplusplus
}
#endif

#endif
