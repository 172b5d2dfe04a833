// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_DISK_FAULT_INJECTOR_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_DISK_FAULT_INJECTOR_H_

#include <string>

namespace platform::test {

// As long as it lives, calls of this process that change files below a folder fail, from the one
// with a number on, counted from 1. Sees the calls of every library that goes through the C
// library's functions. One at a time; for programs with one thread.
class DiskFaultInjector {
 public:
  enum class Kind {
    kFull,        // ENOSPC to what takes room; what is there can be overwritten, moved and removed
    kReadOnly,    // EROFS to everything
    kOneFailure,  // EIO to the one call alone
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
