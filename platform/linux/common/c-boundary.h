// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_C_BOUNDARY_H_
#define PLATFORM_LINUX_COMMON_C_BOUNDARY_H_

#include <dlog.h>
#include <tizen_error.h>

#include <exception>
#include <new>

namespace platform {

// Turns exceptions into the error codes of one C interface. C callers and the main loop have no
// frames that an exception could unwind.
class CBoundary {
 public:
  // Returns the code for an exception. Not called for std::bad_alloc, which is
  // TIZEN_ERROR_OUT_OF_MEMORY in every interface.
  using ErrorCode = int (*)(const std::exception& error);

  constexpr CBoundary(const char* log_tag, ErrorCode error_code)
      : log_tag_(log_tag), error_code_(error_code) {}

  // Returns the result of `body`, or the code of its exception, which is logged as an error.
  template <typename Body>
  int Run(const Body& body) const {
    try {
      return body();
    } catch (const std::bad_alloc& error) {
      Log(error);
      return TIZEN_ERROR_OUT_OF_MEMORY;
    } catch (const std::exception& error) {
      Log(error);
      return error_code_(error);
    }
  }

 private:
  void Log(const std::exception& error) const {
    dlog_print(DLOG_ERROR, log_tag_, "%s", error.what());
  }

  const char* const log_tag_;
  const ErrorCode error_code_;
};

// For functions that the main loop calls. Its callbacks have no error codes.
inline constexpr CBoundary kMainLoopBoundary("MAIN_LOOP", [](const std::exception&) -> int {
  return TIZEN_ERROR_UNKNOWN;
});

}  // namespace platform

#endif
