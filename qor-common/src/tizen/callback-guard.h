// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_CALLBACK_GUARD_H_
#define TIZEN_CALLBACK_GUARD_H_

#include <dlog.h>

#include <exception>

namespace tizen {

// Returns the last component of a path; evaluated at compile time for __FILE__.
constexpr const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/') name = at + 1;
  }
  return name;
}

// Runs the body of a platform callback. No exception unwinds into C code: it is logged as an error
// under `log_tag`, with the given source location, and `fallback` is returned.
template <typename Result, typename Body>
Result GuardCallback(const char* log_tag, const char* file, const char* function, int line,
                     Result fallback, Body&& body) noexcept {
  constexpr char kFormat[] = "\033[0;31m%s: %s: %d > \033[0;mException in a callback: %s";
  try {
    return body();
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, log_tag, kFormat, BaseName(file), function, line, error.what());
  } catch (...) {
    dlog_print(DLOG_ERROR, log_tag, kFormat, BaseName(file), function, line, "unknown");
  }
  return fallback;
}

}  // namespace tizen

#endif
