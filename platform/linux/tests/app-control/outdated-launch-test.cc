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

// Launches of what was looked up before its package changed.
class OutdatedLaunch : public test::PlatformTest {
 protected:
  OutdatedLaunch() {
    test::PackageSpec package;
    package.executable = ServiceProgram();
    EXPECT_EQ(Install(package), 0);
    outdated_ = *FindApplication("org.test.p.app");
    // As an update leaves it for a moment: the old files are still there.
    outdated_.executable = Folder() + "/old";
    std::filesystem::copy_file("/bin/cat", outdated_.executable);
  }

  ApplicationRecord outdated_;
  const std::vector<uint8_t> request_ = {0};
};

TEST_F(OutdatedLaunch, StartsWhatIsInstalledNow) {
  LaunchApplication(outdated_, request_);
  EXPECT_EQ(ExecutableOf(CreatedProcess()).path, FindApplication("org.test.p.app")->executable);
}

TEST_F(OutdatedLaunch, OfAnUninstalledApplicationFails) {
  ASSERT_EQ(Uninstall("org.test.p"), 0);
  EXPECT_THROW(LaunchApplication(outdated_, request_), LaunchError);
  EXPECT_FALSE(std::filesystem::exists(Root() + "/run/apps/org.test.p.app"));
}

TEST_F(OutdatedLaunch, OfWhatIsNoApplicationIdFails) {
  for (const char* id : {"host.agent", "..", "../x", ""}) {
    outdated_.id = id;
    EXPECT_THROW(LaunchApplication(outdated_, request_), LaunchError) << id;
  }
}

}  // namespace
}  // namespace platform
