// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/root-folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace platform {
namespace {

constexpr char kVariable[] = "QOR_PLATFORM_ROOT";

// Puts variable and working folder back.
class Root : public testing::Test {
 protected:
  ~Root() override {
    std::filesystem::current_path(folder_);
    if (had_variable_) {
      setenv(kVariable, variable_.c_str(), 1);
    } else {
      unsetenv(kVariable);
    }
  }

  static std::string RootWith(const std::string& variable) {
    setenv(kVariable, variable.c_str(), 1);
    return RootPath();
  }

 private:
  const std::filesystem::path folder_ = std::filesystem::current_path();
  const bool had_variable_ = std::getenv(kVariable) != nullptr;
  const std::string variable_ = had_variable_ ? std::getenv(kVariable) : "";
};

TEST_F(Root, IsCleanHoweverOftenItIsAskedFor) {
  EXPECT_EQ(RootWith("/a/./b//c/../"), "/a/b");
  EXPECT_EQ(RootWith("/a/./b//c/../"), "/a/b");
}

TEST_F(Root, FollowsTheVariable) {
  EXPECT_EQ(RootWith("/a"), "/a");
  EXPECT_EQ(RootWith("/b"), "/b");
  EXPECT_EQ(RootWith("/a"), "/a");
}

TEST_F(Root, FollowsTheWorkingFolderWhereItIsRelative) {
  std::filesystem::current_path("/tmp");
  EXPECT_EQ(RootWith("root"), "/tmp/root");
  std::filesystem::current_path("/");
  EXPECT_EQ(RootWith("root"), "/root");
}

TEST_F(Root, IsInTheDataFolderWhereNothingNamesIt) {
  EXPECT_EQ(RootWith("/a"), "/a");
  setenv("XDG_DATA_HOME", "/data", 1);
  EXPECT_EQ(RootWith(""), "/data/qor-platform");
  unsetenv("XDG_DATA_HOME");
}

}  // namespace
}  // namespace platform
