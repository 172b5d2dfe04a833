// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Launch requests to running applications that exit or close connections, and to applications whose
// launch lock is held. The test's thread is the main loop's thread.
#include <app_control.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

constexpr char kAppId[] = "org.test.p.app";

class RequestDeliveryTest : public test::PlatformTest {
 protected:
  RequestDeliveryTest() {
    // Serves the ends of the processes of the test before.
    test::RunLoopDry();
    test::PackageSpec package;
    package.executable = ServiceProgram();
    EXPECT_EQ(Install(package), 0);
  }

  static void Send(const std::string& text) {
    app_control_h request = nullptr;
    app_control_create(&request);
    app_control_set_app_id(request, kAppId);
    app_control_add_extra_data(request, "text", text.c_str());
    EXPECT_EQ(app_control_send_launch_request(request, nullptr, nullptr), 0);
    app_control_destroy(request);
  }

  static size_t OpenDescriptors() { return test::SortedNames("/proc/self/fd").size(); }
};

TEST_F(RequestDeliveryTest, StartsNewProcessForRequestLostByKilledProcess) {
  // The process waits at the gate before it reads requests.
  ASSERT_EQ(mkfifo((Root() + "/gate").c_str(), 0600), 0);
  Send("lost with the process");
  Send("one");
  Send("latest");
  const pid_t pid = ProcessOf(kAppId);
  ASSERT_GT(pid, 0);
  test::Signal(pid, SIGKILL);
  AwaitEnd(pid);
  unlink((Root() + "/gate").c_str());
  test::RunLoopDry();
  CreatedProcess();
  EXPECT_EQ(NextReport(), "request latest 6");
  EXPECT_FALSE(HasReport());
}

TEST_F(RequestDeliveryTest, DoesNotResendAcknowledgedRequest) {
  Send("first");
  const pid_t pid = CreatedProcess();
  EXPECT_EQ(NextReport(), "request first 5");
  const size_t descriptors = OpenDescriptors();
  Send("second");
  EXPECT_EQ(NextReport(), "request second 6");
  EXPECT_EQ(OpenDescriptors(), descriptors + 1);
  test::RunLoopDry();
  EXPECT_EQ(OpenDescriptors(), descriptors);
  test::Signal(pid, SIGKILL);
  AwaitEnd(pid);
  test::RunLoopDry();
  EXPECT_FALSE(HasReport());
}

TEST_F(RequestDeliveryTest, UsesOneDescriptorForUnresponsiveProcess) {
  Send("first");
  const pid_t pid = CreatedProcess();
  EXPECT_EQ(NextReport(), "request first 5");
  test::Signal(pid, SIGSTOP);
  const size_t descriptors = OpenDescriptors();
  for (int i = 0; i < 100; ++i) Send(std::to_string(i));
  EXPECT_EQ(OpenDescriptors(), descriptors + 1);
  test::Signal(pid, SIGCONT);
  for (int i = 0; i < 100; ++i) {
    const std::string text = std::to_string(i);
    EXPECT_EQ(NextReport(), "request " + text + " " + std::to_string(text.size()));
  }
}

// The test holds the launch lock.
class LockedLaunchTest : public RequestDeliveryTest {
 protected:
  LockedLaunchTest() : lock_(LockFile(FolderBelowRoot(kApplicationLockFolder) + "/" + kAppId)) {}

  bool AwaitLog(const std::string& text) {
    return test::RunLoopUntil([&] { return Log().find(text) != std::string::npos; });
  }

  UniqueFd lock_;
};

TEST_F(LockedLaunchTest, QueuesRequestsInOrderWithoutBlocking) {
  Send("first");
  Send("second");
  test::RunLoopDry();
  EXPECT_FALSE(HasReport());
  lock_.Reset();
  // Queued behind the others although the lock is free.
  Send("third");
  const std::string socket = Root() + "/" + kApplicationSocketFolder + "/" + kAppId;
  EXPECT_TRUE(test::RunLoopUntil([&] { return access(socket.c_str(), F_OK) == 0; }));
  CreatedProcess();
  for (const char* text : {"first 5", "second 6", "third 5"})
    EXPECT_EQ(NextReport(), std::string("request ") + text);
}

TEST_F(LockedLaunchTest, SendsToRunningProcessDespiteLock) {
  lock_.Reset();
  Send("first");
  CreatedProcess();
  EXPECT_EQ(NextReport(), "request first 5");
  lock_ = LockFile(Root() + "/" + kApplicationLockFolder + "/" + kAppId);
  Send("second");
  EXPECT_EQ(NextReport(), "request second 6");
}

TEST_F(LockedLaunchTest, NamesLockHolderAfterTimeout) {
  Send("first");
  Send("second");
  EXPECT_TRUE(AwaitLog("lost 2 launch requests to org.test.p.app: " + Root() +
                       "/run/app-locks/org.test.p.app is locked by process " +
                       std::to_string(getpid()) + " ("));
  lock_.Reset();
  Send("third");
  CreatedProcess();
  EXPECT_EQ(NextReport(), "request third 5");
}

TEST_F(LockedLaunchTest, FailsOnAnotherThread) {
  int result = 0;
  std::thread([&result] {
    app_control_h request = nullptr;
    app_control_create(&request);
    app_control_set_app_id(request, kAppId);
    result = app_control_send_launch_request(request, nullptr, nullptr);
    app_control_destroy(request);
  }).join();
  EXPECT_EQ(result, APP_CONTROL_ERROR_LAUNCH_FAILED);
}

// The test process is the application.
class LostRequestTest : public RequestDeliveryTest {
 protected:
  LostRequestTest() : socket_(ListenAt(FolderBelowRoot(kApplicationSocketFolder), kAppId)) {
    PackageRecord package = *FindPackage("org.test.p");
    package.applications[0].executable = std::filesystem::canonical("/proc/self/exe");
    StorePackage(package);
  }

  UniqueFd Accept() const {
    return UniqueFd(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
  }

 private:
  const UniqueFd socket_;
};

TEST_F(LostRequestTest, IsResentOnce) {
  Send("text");
  EXPECT_TRUE(Accept());
  test::RunLoopDry();
  EXPECT_TRUE(Accept());
  test::RunLoopDry();
  EXPECT_FALSE(Accept());
}

TEST_F(LostRequestTest, IsDroppedWhenApplicationIsUninstalled) {
  Send("text");
  ASSERT_EQ(Uninstall("org.test.p"), 0);
  EXPECT_TRUE(Accept());
  test::RunLoopDry();
  EXPECT_NE(Log().find("lost a launch request to org.test.p.app: org.test.p.app has been "
                       "uninstalled"),
            std::string::npos);
}

}  // namespace
}  // namespace platform
