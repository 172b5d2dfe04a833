// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_IPC_TEST_ROOT_H_
#define PLATFORM_LINUX_TESTS_IPC_TEST_ROOT_H_

#include <string>
#include <vector>

namespace platform::test {

// The id under which this test process owns ports.
std::string OwnAppId();

// A temporary, empty platform root for this process and its children.
class TestRoot {
 public:
  // Makes the path longer by `depth` folders.
  explicit TestRoot(int depth = 0);
  TestRoot(const TestRoot&) = delete;
  TestRoot& operator=(const TestRoot&) = delete;
  ~TestRoot();

  const std::string& path() const { return path_; }

  // Installs a copy of the peer as an application. Returns the path of its executable.
  std::string InstallPeer(const std::string& app_id, const std::vector<std::string>& privileges);

 private:
  std::string base_;
  std::string path_;
};

}  // namespace platform::test

#endif
