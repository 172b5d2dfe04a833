// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-identity.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/common/package-database.h"
#include "platform/linux/tests/packages/support/platform-test.h"
#include "platform/linux/tests/packages/support/program.h"

namespace platform {
namespace {

class Identity : public test::PlatformTest {
 protected:
  // A copy of a program that waits until it is killed.
  pid_t StartCopy(const std::string& path) {
    std::filesystem::copy_file("/bin/sleep", path);
    pid_ = test::Start(path, {"1000"});
    return pid_;
  }

  void End() {
    kill(pid_, SIGKILL);
    test::Await(pid_);
  }

  static void StoreApplication(const std::string& executable) {
    PackageRecord package;
    package.id = "p";
    package.version = "1.0.0";
    package.privileges = {"privilege"};
    package.applications.emplace_back();
    package.applications[0].id = "p.app";
    package.applications[0].executable = executable;
    StorePackage(package);
  }

 private:
  pid_t pid_ = -1;
};

TEST_F(Identity, IsTheApplicationThatTheExecutableBelongsTo) {
  StoreApplication(Folder() + "/program");
  const ProcessIdentity identity = IdentifyProcess(StartCopy(Folder() + "/program"));
  EXPECT_EQ(identity.app_id, "p.app");
  EXPECT_TRUE(identity.is_installed_application);
  End();
}

TEST_F(Identity, IsAHostNamedAfterItsExecutableWhenNotInstalled) {
  const ProcessIdentity identity = IdentifyThisProcess();
  EXPECT_EQ(identity.app_id, "host.packages_process_identity_test");
  EXPECT_FALSE(identity.is_installed_application);
}

TEST_F(Identity, NeedsTheWholePathToMatch) {
  StoreApplication(Folder() + "/elsewhere/program");
  EXPECT_EQ(IdentifyProcess(StartCopy(Folder() + "/program")).app_id, "host.program");
  End();
}

TEST_F(Identity, IsEmptyWhenTheExecutableIsDeleted) {
  const std::string path = Folder() + "/program";
  StoreApplication(path);
  const pid_t pid = StartCopy(path);
  std::filesystem::remove(path);
  EXPECT_EQ(IdentifyProcess(pid).app_id, "");
  EXPECT_FALSE(IdentifyProcess(pid).is_installed_application);
  End();
}

TEST_F(Identity, IsEmptyWhenTheProcessIsGone) {
  const pid_t pid = StartCopy(Folder() + "/program");
  End();
  EXPECT_EQ(IdentifyProcess(pid).app_id, "");
  EXPECT_EQ(IdentifyProcess(-1).app_id, "");
}

TEST_F(Identity, IsEmptyAndLoggedWhenTheDatabaseCannotBeRead) {
  test::WriteFile(Root() + "/packages.db", std::string(5000, 'x'));
  EXPECT_EQ(IdentifyThisProcess().app_id, "");
  EXPECT_FALSE(HoldsPrivilege("p.app", "privilege"));
  EXPECT_NE(Log().find(Root() + "/packages.db"), std::string::npos);
}

TEST_F(Identity, HoldsThePrivilegesOfItsManifestOnly) {
  StoreApplication("/program");
  EXPECT_TRUE(HoldsPrivilege("p.app", "privilege"));
  EXPECT_FALSE(HoldsPrivilege("p.app", "another"));
  EXPECT_FALSE(HoldsPrivilege("host.program", "privilege"));
}

}  // namespace
}  // namespace platform
