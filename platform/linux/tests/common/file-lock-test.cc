// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/file-lock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "platform/linux/package-manager/staging.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

class FileLockTest : public test::PlatformTest {
 protected:
  const std::string path_ = Folder() + "/lock";
};

TEST_F(FileLockTest, IsExclusive) {
  UniqueFd first = LockFile(path_);
  ASSERT_TRUE(first);
  EXPECT_FALSE(LockFile(path_));
  EXPECT_EQ(errno, EWOULDBLOCK);
  first.Reset();
  EXPECT_TRUE(LockFile(path_));
}

TEST_F(FileLockTest, IsNotAcquiredOnRemovedFile) {
  UniqueFd first = LockFile(path_);
  UniqueFd second;
  std::thread waiting([&] { second = AwaitLock(path_, std::chrono::minutes(1)); });
  // Whether or not the thread already waits for the old file, it must acquire the new one.
  std::filesystem::remove(path_);
  first.Reset();
  waiting.join();
  ASSERT_TRUE(second);
  EXPECT_TRUE(std::filesystem::exists(path_));
  EXPECT_FALSE(LockFile(path_));
}

TEST_F(FileLockTest, TimesOut) {
  const UniqueFd first = LockFile(path_);
  EXPECT_FALSE(AwaitLock(path_, std::chrono::milliseconds(30)));
  EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(FileLockTest, NamesItsHolder) {
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  EXPECT_EQ(DescribeLockHolder(path_), "another process");
  const UniqueFd first = LockFile(path_);
  EXPECT_EQ(DescribeLockHolder(path_), "process " + std::to_string(getpid()) + " (" + self + ")");
  const UniqueFd other = LockFile(path_ + "-2");
  std::filesystem::rename(path_, path_ + "-3");
  EXPECT_EQ(DescribeLockHolder(path_), "another process");
}

TEST_F(FileLockTest, NamesHolderOfInstallLockAfterTimeout) {
  const UniqueFd held = LockFile(Root() + "/install.lock");
  try {
    const InstallLock lock(std::chrono::milliseconds(30));
    FAIL() << "no error";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::timed_out);
    EXPECT_NE(std::string(error.what())
                  .find("/install.lock is locked by process " + std::to_string(getpid()) + " ("),
              std::string::npos)
        << error.what();
  }
}

TEST_F(FileLockTest, SetsErrnoOnFailure) {
  EXPECT_FALSE(LockFile(Folder() + "/missing/lock"));
  EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace platform
