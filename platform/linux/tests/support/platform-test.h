// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_PLATFORM_TEST_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_PLATFORM_TEST_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/tests/support/package-folder.h"

namespace platform::test {

// A platform with a temporary root, with helpers to install packages and to read the reports of
// their processes. The destructor kills the processes.
class PlatformTest : public testing::Test {
 protected:
  PlatformTest();
  ~PlatformTest() override;

  // The temporary folder that contains the root.
  const std::string& Folder() const { return folder_; }
  const std::string& Root() const { return root_; }
  // Switches to another, empty root.
  void UseRoot(const std::string& root);

  // The service that reports its callbacks (see test-service.cc).
  static std::string ServiceProgram();

  // Writes the package as a folder and installs it in this process. Returns the request's result.
  int Install(const PackageSpec& package);
  static int InstallPath(const std::string& path);
  static int Uninstall(const std::string& package_id);
  static int InstalledCount();

  // Returns the next line that a process of this platform reports; fails and returns "" after a
  // timeout.
  std::string NextReport();
  // Reads the next report, which must be of the create callback, and returns the process id.
  pid_t CreatedProcess();
  // Whether there is an unread report.
  bool HasReport();

  // The log lines of this process since the start of the test.
  std::string Log() const;

  // Returns the application's process; fails and returns -1 unless there is exactly one.
  static pid_t ProcessOf(const std::string& app_id);

  // Waits for the exit of a process, which need not be a child.
  static void AwaitEnd(pid_t pid);

 private:
  bool ReadReports(int milliseconds);

  std::string folder_;
  std::string root_;
  UniqueFd reports_;
  std::string report_text_;
  size_t log_start_;
};

// Returns a copy of a string that the caller owns, and frees it.
std::string Take(char* text);

// Returns the names in a folder, sorted; empty for a missing folder.
std::vector<std::string> SortedNames(const std::string& folder);

}  // namespace platform::test

#endif
