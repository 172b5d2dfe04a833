// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/file-lock.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <thread>

#include "platform/linux/tests/packages/support/platform-test.h"

namespace platform {
namespace {

class FileLock : public test::PlatformTest {
 protected:
  const std::string path_ = Folder() + "/lock";
};

TEST_F(FileLock, IsHeldByOneAtATime) {
  UniqueFd first = LockFile(path_, Wait::kNo);
  ASSERT_TRUE(first);
  EXPECT_FALSE(LockFile(path_, Wait::kNo));
  EXPECT_EQ(errno, EWOULDBLOCK);
  first.Reset();
  EXPECT_TRUE(LockFile(path_, Wait::kNo));
}

TEST_F(FileLock, IsNotTheLockOnAFileThatItsHolderRemoved) {
  UniqueFd first = LockFile(path_, Wait::kYes);
  UniqueFd second;
  std::thread waiting([&] { second = LockFile(path_, Wait::kYes); });
  // Whether the other has come to wait for the old file or not, it must end with the new one.
  std::filesystem::remove(path_);
  first.Reset();
  waiting.join();
  ASSERT_TRUE(second);
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_FALSE(LockFile(path_, Wait::kNo));
}

TEST_F(FileLock, SaysWhyThereIsNone) {
  EXPECT_FALSE(LockFile(Folder() + "/missing/lock", Wait::kNo));
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace platform
