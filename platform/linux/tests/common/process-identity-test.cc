// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-identity.h"

#include <gtest/gtest.h>
#include <linux/sched.h>
#include <sched.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/tests/support/child-process.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

class ProcessIdentityTest : public test::PlatformTest {
 protected:
  // Starts a copy of a program that runs until it is killed.
  pid_t StartCopy(const std::string& path) {
    std::filesystem::copy_file("/bin/sleep", path);
    pid_ = test::StartChildProcess({path, "1000"});
    // The kernel shows the environment slightly later than the executable.
    while (!ReadStartVariable(pid_, "QOR_PLATFORM_ROOT")) sched_yield();
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

TEST_F(ProcessIdentityTest, IsApplicationOfExecutable) {
  StoreApplication(Folder() + "/program");
  const ProcessIdentity identity = IdentifyProcess(StartCopy(Folder() + "/program"));
  EXPECT_EQ(identity.app_id, "p.app");
  EXPECT_TRUE(identity.is_installed_application);
  End();
}

TEST_F(ProcessIdentityTest, IsHostNamedAfterExecutableWhenNotInstalled) {
  const ProcessIdentity identity = IdentifyThisProcess();
  EXPECT_EQ(identity.app_id, "host.platform_process_identity_test");
  EXPECT_FALSE(identity.is_installed_application);
}

TEST_F(ProcessIdentityTest, IsHostNameFromStartEnvironment) {
  setenv(kHostNameVariable, "second-1.a_b", 1);
  const pid_t pid = StartCopy(Folder() + "/program");
  unsetenv(kHostNameVariable);
  const ProcessIdentity identity = IdentifyProcess(pid);
  EXPECT_EQ(identity.app_id, "host.second-1.a_b");
  EXPECT_FALSE(identity.is_installed_application);
  End();
}

TEST_F(ProcessIdentityTest, IgnoresLaterChangesOfEnvironment) {
  setenv(kHostNameVariable, "late", 1);
  EXPECT_EQ(IdentifyThisProcess().app_id, "host.platform_process_identity_test");
  unsetenv(kHostNameVariable);
}

TEST_F(ProcessIdentityTest, IgnoresEnvironmentOfInstalledApplication) {
  StoreApplication(Folder() + "/program");
  setenv(kHostNameVariable, "custom", 1);
  EXPECT_EQ(IdentifyProcess(StartCopy(Folder() + "/program")).app_id, "p.app");
  unsetenv(kHostNameVariable);
  End();
}

TEST_F(ProcessIdentityTest, RejectsInvalidHostName) {
  int number = 0;
  for (const std::string& name :
       {std::string(), std::string("../up"), std::string("a/b"), std::string(".hidden"),
        std::string("a b"), std::string(65, 'x')}) {
    const std::string program = "program-" + std::to_string(++number);
    setenv(kHostNameVariable, name.c_str(), 1);
    const pid_t pid = StartCopy(Folder() + "/" + program);
    unsetenv(kHostNameVariable);
    EXPECT_EQ(IdentifyProcess(pid).app_id, "host." + program) << name;
    EXPECT_NE(Log().find("QOR_PLATFORM_HOST_NAME=\"" + name + "\""), std::string::npos) << name;
    End();
  }
}

TEST_F(ProcessIdentityTest, RequiresWholePathToMatch) {
  StoreApplication(Folder() + "/elsewhere/program");
  EXPECT_EQ(IdentifyProcess(StartCopy(Folder() + "/program")).app_id, "host.program");
  End();
}

TEST_F(ProcessIdentityTest, IsEmptyWhenExecutableIsDeleted) {
  const std::string path = Folder() + "/program";
  StoreApplication(path);
  const pid_t pid = StartCopy(path);
  std::filesystem::remove(path);
  EXPECT_EQ(IdentifyProcess(pid).app_id, "");
  EXPECT_FALSE(IdentifyProcess(pid).is_installed_application);
  End();
}

TEST_F(ProcessIdentityTest, IsEmptyWhenProcessHasExited) {
  const pid_t pid = StartCopy(Folder() + "/program");
  End();
  EXPECT_EQ(IdentifyProcess(pid).app_id, "");
  EXPECT_EQ(IdentifyProcess(-1).app_id, "");
}

// Starts a process with the id of one that has exited. Returns -1 without the privilege to do so.
pid_t StartWithId(pid_t pid) {
  clone_args arguments{};
  arguments.exit_signal = SIGCHLD;
  arguments.set_tid = reinterpret_cast<uintptr_t>(&pid);
  arguments.set_tid_size = 1;
  const long result = syscall(SYS_clone3, &arguments, sizeof arguments);
  if (result != 0) return static_cast<pid_t>(result);
  for (;;) pause();
}

TEST_F(ProcessIdentityTest, IsNotInheritedWithReusedProcessId) {
  const pid_t pid = StartCopy(Folder() + "/program");
  const ProcessHandle process(pid);
  EXPECT_TRUE(process.Executes(Folder() + "/program"));
  End();
  const pid_t second = StartWithId(pid);
  EXPECT_TRUE(second == pid || geteuid() != 0);
  EXPECT_FALSE(process.ExecutableFile());
  EXPECT_EQ(IdentifyProcess(process).app_id, "");
  if (second != pid) return;
  EXPECT_TRUE(ProcessHandle(second).ExecutableFile());
  kill(second, SIGKILL);
  test::Await(second);
}

TEST_F(ProcessIdentityTest, IsEmptyAndLogsErrorWhenDatabaseIsCorrupt) {
  test::WriteFile(Root() + "/packages.db", std::string(5000, 'x'));
  EXPECT_EQ(IdentifyThisProcess().app_id, "");
  EXPECT_FALSE(HoldsPrivilege("p.app", "privilege"));
  EXPECT_NE(Log().find(Root() + "/packages.db"), std::string::npos);
}

TEST_F(ProcessIdentityTest, HoldsOnlyPrivilegesOfItsManifest) {
  StoreApplication("/program");
  EXPECT_TRUE(HoldsPrivilege("p.app", "privilege"));
  EXPECT_FALSE(HoldsPrivilege("p.app", "another"));
  EXPECT_FALSE(HoldsPrivilege("host.program", "privilege"));
}

}  // namespace
}  // namespace platform
