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

// A platform of the test's own, with the verbs that these tests are written in. Processes of its
// packages end with it.
class PlatformTest : public testing::Test {
 protected:
  PlatformTest();
  ~PlatformTest() override;

  // The root is below it.
  const std::string& Folder() const { return folder_; }
  const std::string& Root() const { return root_; }
  // Moves on to another, empty root.
  void UseRoot(const std::string& root);

  // The service that reports what happens to it (see test-service.cc).
  static std::string ServiceProgram();

  // Writes the package as a folder and installs it in this process. The request's result.
  int Install(const PackageSpec& package);
  static int InstallPath(const std::string& path);
  static int Uninstall(const std::string& package_id);
  static int InstalledCount();

  // The next line that a process of this platform reports; a failure and "" when none comes.
  std::string NextReport();
  // The next report, which must be that of a service that was created; its process.
  pid_t CreatedProcess();
  // Whether a report is waiting.
  bool HasReport();

  // What this process logged in this test.
  std::string Log() const;

  // The application's only process; a failure and -1 when there is none, or more.
  static pid_t ProcessOf(const std::string& app_id);

  // Waits for the end of a process that need not be a child.
  static void AwaitEnd(pid_t pid);

 private:
  bool ReadReports(int milliseconds);

  std::string folder_;
  std::string root_;
  UniqueFd reports_;
  std::string report_text_;
  size_t log_start_;
};

// What a C function handed out, released.
std::string Take(char* text);

// The names in a folder, sorted; empty for a missing one.
std::vector<std::string> SortedNames(const std::string& folder);

}  // namespace platform::test

#endif
