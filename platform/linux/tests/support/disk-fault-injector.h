// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_DISK_FAULT_INJECTOR_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_DISK_FAULT_INJECTOR_H_

#include <string>

namespace platform::test {

// While it exists, calls of this process that modify files below a folder fail, starting with the
// call of the given number, counted from 1. Interposes functions of the C library, so calls of all
// libraries fail. Only one at a time, in single-threaded programs.
class DiskFaultInjector {
 public:
  enum class Kind {
    kFull,        // ENOSPC for calls that need space; files can be overwritten, moved and removed
    kReadOnly,    // EROFS for all calls
    kOneFailure,  // EIO for the one call
  };

  DiskFaultInjector(std::string folder, Kind kind, int number);
  DiskFaultInjector(const DiskFaultInjector&) = delete;
  DiskFaultInjector& operator=(const DiskFaultInjector&) = delete;
  ~DiskFaultInjector();

  // Whether a call has failed.
  bool HasFailed() const;
};

}  // namespace platform::test

#endif
