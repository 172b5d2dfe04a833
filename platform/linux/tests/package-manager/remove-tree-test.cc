// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>

#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

class RemoveTreeTest : public test::PlatformTest {
 protected:
  RemoveTreeTest() { fs::create_directories(tree_); }

  // Runs the action in a process without root's privileges and with few descriptors, which would
  // hide errors. Returns false when the action throws.
  static bool RunAsOrdinaryUser(const std::function<void()>& action) {
    const pid_t pid = fork();
    if (pid == 0) {
      constexpr rlim_t kFewDescriptors = 32;
      const rlimit limit{kFewDescriptors, kFewDescriptors};
      setrlimit(RLIMIT_NOFILE, &limit);
      constexpr uid_t kOrdinary = 65534;
      if (geteuid() == 0 && setuid(kOrdinary) != 0) _exit(1);
      try {
        action();
        _exit(0);
      } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        _exit(1);
      }
    }
    int status = -1;
    waitpid(pid, &status, 0);
    return status == 0;
  }

  // Creates the tree and removes it as the same ordinary user.
  void ExpectRemovedAfter(const std::function<void()>& make) {
    chmod(Folder().c_str(), 0777);
    chmod(tree_.c_str(), 0777);
    fs::remove(tree_);
    const std::string tree = tree_;
    EXPECT_TRUE(RunAsOrdinaryUser([&] {
      fs::create_directories(tree);
      make();
      platform::RemoveTree(tree);
    }));
    EXPECT_FALSE(fs::exists(tree));
  }

  const std::string tree_ = Folder() + "/tree";
};

TEST_F(RemoveTreeTest, RemovesFilesFoldersAndLinks) {
  test::WriteFile(tree_ + "/a/b/text", "text");
  test::WriteFile(tree_ + "/a/text", "text");
  fs::create_directories(tree_ + "/c/d");
  fs::create_symlink("nowhere", tree_ + "/c/link");
  platform::RemoveTree(tree_);
  EXPECT_FALSE(fs::exists(tree_));
  EXPECT_TRUE(fs::exists(Folder()));
}

TEST_F(RemoveTreeTest, RemovesFileAndIgnoresMissingOne) {
  test::WriteFile(tree_ + "/text", "text");
  platform::RemoveTree(tree_ + "/text");
  EXPECT_FALSE(fs::exists(tree_ + "/text"));
  EXPECT_NO_THROW(platform::RemoveTree(tree_ + "/text"));
  EXPECT_NO_THROW(platform::RemoveTree(tree_ + "/missing/text"));
}

TEST_F(RemoveTreeTest, FollowsNoLinks) {
  test::WriteFile(Folder() + "/precious/text", "text");
  fs::create_directory_symlink(Folder() + "/precious", tree_ + "/link");
  fs::create_directory_symlink(Folder() + "/precious", Folder() + "/link");
  platform::RemoveTree(tree_);
  platform::RemoveTree(Folder() + "/link");
  EXPECT_FALSE(fs::is_symlink(Folder() + "/link"));
  EXPECT_EQ(test::ReadFile(Folder() + "/precious/text"), "text");
}

TEST_F(RemoveTreeTest, UsesConstantNumberOfDescriptors) {
  ExpectRemovedAfter([this] { test::MakeDeepFolder(tree_, "d", 100); });
}

TEST_F(RemoveTreeTest, RemovesFoldersBeyondMaximumPathLength) {
  ExpectRemovedAfter([this] {
    test::MakeDeepFolder(tree_, std::string(200, 'd'), 100);
    test::MakeDeepFolder(tree_, "e", 500);
  });
}

TEST_F(RemoveTreeTest, RemovesFoldersWithoutOwnerPermissions) {
  ExpectRemovedAfter([this] {
    for (const mode_t mode : {0U, 0500U, 0200U}) {
      const std::string folder = tree_ + "/" + std::to_string(mode);
      test::WriteFile(folder + "/inner/text", "text");
      chmod((folder + "/inner").c_str(), mode);
      chmod(folder.c_str(), mode);
    }
  });
}

TEST_F(RemoveTreeTest, NamesPathThatCannotBeRemoved) {
  const std::string file = Folder() + "/file";
  test::WriteFile(file, "text");
  try {
    platform::RemoveTree(file + "/below");
    FAIL() << "no error";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::not_a_directory);
    EXPECT_NE(std::string(error.what()).find("cannot remove " + file + "/below"),
              std::string::npos);
  }
}

}  // namespace
}  // namespace platform
