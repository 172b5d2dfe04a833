// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/linux/app-control/launcher.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

// Launches with a record that was looked up before its package changed.
class OutdatedLaunchTest : public test::PlatformTest {
 protected:
  OutdatedLaunchTest() {
    test::PackageSpec package;
    package.executable = ServiceProgram();
    EXPECT_EQ(Install(package), 0);
    outdated_ = *FindApplication("org.test.p.app");
    // As during an update, when the old files still exist.
    outdated_.executable = Folder() + "/old";
    std::filesystem::copy_file("/bin/cat", outdated_.executable);
  }

  ApplicationRecord outdated_;
  const std::vector<uint8_t> request_ = {0};
};

TEST_F(OutdatedLaunchTest, StartsInstalledVersion) {
  LaunchApplication(outdated_, request_);
  EXPECT_EQ(ExecutableOf(CreatedProcess()).path, FindApplication("org.test.p.app")->executable);
}

TEST_F(OutdatedLaunchTest, FailsWhenUninstalled) {
  ASSERT_EQ(Uninstall("org.test.p"), 0);
  EXPECT_THROW(LaunchApplication(outdated_, request_), LaunchError);
  EXPECT_FALSE(std::filesystem::exists(Root() + "/run/apps/org.test.p.app"));
}

// The log writer is expected beside the library, which here is a part of the test.
TEST_F(OutdatedLaunchTest, NeedsNoLogWriter) {
  LaunchApplication(*FindApplication("org.test.p.app"), request_);
  EXPECT_GT(CreatedProcess(), 0);
  EXPECT_FALSE(std::filesystem::exists(Root() + "/logs"));
}

TEST_F(OutdatedLaunchTest, RejectsInvalidApplicationId) {
  for (const char* id : {"host.agent", "..", "../x", ""}) {
    outdated_.id = id;
    EXPECT_THROW(LaunchApplication(outdated_, request_), LaunchError) << id;
  }
}

}  // namespace
}  // namespace platform
