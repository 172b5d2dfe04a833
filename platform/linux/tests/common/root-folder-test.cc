// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/root-folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace platform {
namespace {

constexpr char kVariable[] = "QOR_PLATFORM_ROOT";

// Restores the variable and the working folder.
class RootFolderTest : public testing::Test {
 protected:
  ~RootFolderTest() override {
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

TEST_F(RootFolderTest, IsNormalizedOnEveryCall) {
  EXPECT_EQ(RootWith("/a/./b//c/../"), "/a/b");
  EXPECT_EQ(RootWith("/a/./b//c/../"), "/a/b");
}

TEST_F(RootFolderTest, FollowsVariable) {
  EXPECT_EQ(RootWith("/a"), "/a");
  EXPECT_EQ(RootWith("/b"), "/b");
  EXPECT_EQ(RootWith("/a"), "/a");
}

TEST_F(RootFolderTest, ResolvesRelativePathAgainstWorkingFolder) {
  std::filesystem::current_path("/tmp");
  EXPECT_EQ(RootWith("root"), "/tmp/root");
  std::filesystem::current_path("/");
  EXPECT_EQ(RootWith("root"), "/root");
}

TEST_F(RootFolderTest, DefaultsToDataFolder) {
  EXPECT_EQ(RootWith("/a"), "/a");
  setenv("XDG_DATA_HOME", "/data", 1);
  EXPECT_EQ(RootWith(""), "/data/qor-platform");
  unsetenv("XDG_DATA_HOME");
}

// A root folder below a parent that others may write to.
class RootParentsTest : public RootFolderTest {
 protected:
  RootParentsTest() {
    std::string folder = std::filesystem::temp_directory_path() / "root-parents-XXXXXX";
    folder_ = mkdtemp(folder.data());
    std::filesystem::create_directory(Parent());
    setenv(kVariable, (Parent() + "/root").c_str(), 1);
  }
  ~RootParentsTest() override { std::filesystem::remove_all(folder_); }

  std::string Below(const std::string& name) const { return folder_ + "/" + name; }
  std::string Parent() const { return Below("parent"); }
  void SetMode(mode_t mode) const { ASSERT_EQ(chmod(Parent().c_str(), mode), 0); }

  static std::string ErrorOfRoot() {
    try {
      RootFolder();
      return "";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code().value(), EPERM);
      return error.what();
    }
  }
  void ExpectRejected() const {
    const std::string expected = "others may replace the root folder " + RootPath() +
                                 ", since they may write to " + Parent() + ", run: chmod go-w " +
                                 Parent();
    const std::string error = ErrorOfRoot();
    EXPECT_EQ(error.substr(0, expected.size()), expected);
  }

 private:
  std::string folder_;
};

TEST_F(RootParentsTest, AreRejectedWhenWritableByOthers) {
  for (const mode_t mode : {0777U, 0702U}) {
    SetMode(mode);
    ExpectRejected();
    EXPECT_FALSE(std::filesystem::exists(RootPath()));
  }
  SetMode(0755);
  EXPECT_EQ(RootFolder(), RootPath());
  // Also around a root that exists.
  SetMode(0777);
  ExpectRejected();
}

TEST_F(RootParentsTest, AreRejectedAtAnyLevel) {
  setenv(kVariable, (Parent() + "/a/b/root").c_str(), 1);
  EXPECT_EQ(ErrorOfRoot(), "");
  SetMode(0777);
  ExpectRejected();
}

TEST_F(RootParentsTest, AreNotChangedWhenStickyOrOfAnotherUser) {
  const std::string other_root = "set QOR_PLATFORM_ROOT to a folder of your own";
  EXPECT_EQ(ProtectionHint(Parent(), "go-w"), "run: chmod go-w " + Parent());
  SetMode(01777);
  EXPECT_EQ(ProtectionHint(Parent(), "go-w"), other_root);
  EXPECT_EQ(ProtectionHint(geteuid() == 0 ? "/proc/self/fd/no" : "/", "go-w"), other_root);
  setenv(kVariable, Parent().c_str(), 1);
  const std::string error = ErrorOfRoot();
  EXPECT_NE(error.find(other_root), std::string::npos) << error;
  EXPECT_EQ(error.find("chmod"), std::string::npos) << error;
}

TEST_F(RootParentsTest, AreAcceptedWhenSticky) {
  SetMode(01777);
  EXPECT_EQ(ErrorOfRoot(), "");
}

TEST_F(RootParentsTest, AreAcceptedWhenWritableByThePrivateGroupOfTheUser) {
  SetMode(0775);
  if (getegid() == geteuid()) {
    EXPECT_EQ(ErrorOfRoot(), "");
  } else {
    ExpectRejected();
  }
}

TEST_F(RootParentsTest, AreRejectedBehindASymbolicLink) {
  std::filesystem::create_directory_symlink("parent", Below("link"));
  std::filesystem::create_directory_symlink(Below("link"), Below("link-to-link"));
  setenv(kVariable, (Below("link-to-link") + "/root").c_str(), 1);
  EXPECT_EQ(ErrorOfRoot(), "");
  SetMode(0777);
  ExpectRejected();
}

TEST_F(RootParentsTest, AreRejectedWhenWritableByAnotherGroup) {
  // Only root may give files away.
  if (geteuid() != 0) return;
  ASSERT_EQ(chown(Parent().c_str(), 0, 65533), 0);
  SetMode(0775);
  ExpectRejected();
  SetMode(01775);
  EXPECT_EQ(ErrorOfRoot(), "");
}

}  // namespace
}  // namespace platform
