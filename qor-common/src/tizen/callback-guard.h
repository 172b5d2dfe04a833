// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_CALLBACK_GUARD_H_
#define TIZEN_CALLBACK_GUARD_H_

#include <dlog.h>

#include <exception>

#include "tizen/log.h"

namespace tizen {

// Runs what the platform called back, so that no exception unwinds into C code: it is logged as an
// error, in the name of the given place, and `fallback` is returned.
template <typename Result, typename Body>
Result GuardCallback(const char* file, const char* function, int line, Result fallback,
                     Body&& body) noexcept {
  constexpr char kFormat[] = "\033[0;31m%s: %s: %d > \033[0;mException in a callback: %s";
  try {
    return body();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, kFormat, BaseName(file), function, line, error.what());
  } catch (...) {
    dlog_print(DLOG_ERROR, kLogTag, kFormat, BaseName(file), function, line, "unknown");
  }
  return fallback;
}

}  // namespace tizen

#endif
