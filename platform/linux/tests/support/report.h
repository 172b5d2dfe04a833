// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_REPORT_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_REPORT_H_

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

// For programs that a test runs.
namespace platform::test {

inline std::string Root() { return std::getenv("QOR_PLATFORM_ROOT"); }

// Writes a line to the pipe from which the test reads reports. Exits with 3 on failure.
inline void Report(const std::string& line) {
  const int fd = open((Root() + "/report").c_str(), O_WRONLY | O_CLOEXEC);
  const std::string text = line + "\n";
  if (fd < 0 || write(fd, text.data(), text.size()) < 0) _exit(3);
  close(fd);
}

}  // namespace platform::test

#endif
