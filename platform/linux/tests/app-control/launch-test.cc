// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <app_control.h>
#include <app_types.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/tests/support/child-process.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

using test::PackageSpec;
using test::Take;

constexpr char kAppId[] = "org.test.p.app";

class LaunchTest : public test::PlatformTest {
 protected:
  void InstallService() {
    PackageSpec package;
    package.executable = ServiceProgram();
    ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  }

  static int Send(const char* app_id, const std::string& key, const std::string& value) {
    app_control_h request = nullptr;
    app_control_create(&request);
    app_control_set_app_id(request, app_id);
    app_control_add_extra_data(request, key.c_str(), value.c_str());
    const int result = app_control_send_launch_request(request, nullptr, nullptr);
    app_control_destroy(request);
    return result;
  }

  // Starts the service and returns its process.
  pid_t StartService() {
    EXPECT_EQ(Send(kAppId, "text", "first"), APP_CONTROL_ERROR_NONE);
    const pid_t pid = CreatedProcess();
    EXPECT_EQ(NextReport(), "request first 5");
    return pid;
  }

  // Makes the service wait at its start until OpenGate().
  void CloseGate() {
    ASSERT_EQ(mkfifo((Root() + "/gate").c_str(), 0600), 0);
    gate_ = UniqueFd(open((Root() + "/gate").c_str(), O_RDWR | O_CLOEXEC));
  }

  void OpenGate(const char* ticket) { ASSERT_EQ(write(gate_.Get(), ticket, 1), 1); }

 private:
  UniqueFd gate_;
};

TEST_F(LaunchTest, StartsApplicationWithRequest) {
  InstallService();
  EXPECT_GT(StartService(), 0);
}

TEST_F(LaunchTest, SendsRequestToRunningApplication) {
  InstallService();
  StartService();
  EXPECT_EQ(Send(kAppId, "text", "second"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(NextReport(), "request second 6");
}

TEST_F(LaunchTest, QueuesRequestsInOrderWhileOneProcessStarts) {
  InstallService();
  CloseGate();
  for (const char* text : {"1", "2", "3"})
    EXPECT_EQ(Send(kAppId, "text", text), APP_CONTROL_ERROR_NONE);
  EXPECT_FALSE(HasReport());
  OpenGate("g");
  EXPECT_GT(CreatedProcess(), 0);
  EXPECT_EQ(NextReport(), "request 1 1");
  EXPECT_EQ(NextReport(), "request 2 1");
  EXPECT_EQ(NextReport(), "request 3 1");
}

TEST_F(LaunchTest, StartsOneProcessForConcurrentLaunchers) {
  constexpr int kLaunchers = 16;
  InstallService();
  for (int round = 0; round < 5; ++round) {
    std::atomic<int> waiting{kLaunchers};
    std::vector<std::thread> launchers;
    for (int i = 0; i < kLaunchers; ++i) {
      launchers.emplace_back([&] {
        --waiting;
        while (waiting > 0) std::this_thread::yield();
        EXPECT_EQ(Send(kAppId, "text", "x"), APP_CONTROL_ERROR_NONE);
      });
    }
    for (std::thread& launcher : launchers) launcher.join();
    const pid_t pid = CreatedProcess();
    for (int i = 0; i < kLaunchers; ++i) ASSERT_EQ(NextReport(), "request x 1");
    test::Signal(pid, SIGKILL);
    AwaitEnd(pid);
  }
}

TEST_F(LaunchTest, QueuesLongestRequestWhileApplicationStarts) {
  InstallService();
  CloseGate();
  const std::string text(kMaxMessageSize - 1024, 'x');
  EXPECT_EQ(Send(kAppId, "text", text), APP_CONTROL_ERROR_NONE);
  OpenGate("g");
  CreatedProcess();
  EXPECT_EQ(NextReport(), "request " + std::string(64, 'x') + " " + std::to_string(text.size()));
}

TEST_F(LaunchTest, RejectsRequestThatIsTooLong) {
  InstallService();
  EXPECT_EQ(Send(kAppId, "text", std::string(kMaxMessageSize, 'x')),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
}

TEST_F(LaunchTest, StartsNewProcessAfterKill) {
  InstallService();
  const pid_t first = StartService();
  test::Signal(first, SIGKILL);
  AwaitEnd(first);
  EXPECT_NE(StartService(), first);
}

TEST_F(LaunchTest, StartsNewProcessAfterExitWithQueuedRequest) {
  InstallService();
  CloseGate();
  EXPECT_EQ(Send(kAppId, "text", "lost"), APP_CONTROL_ERROR_NONE);
  const pid_t pid = ProcessOf(kAppId);
  ASSERT_GT(pid, 0);
  OpenGate("x");  // makes the process exit
  AwaitEnd(pid);
  std::filesystem::remove(Root() + "/gate");
  EXPECT_NE(StartService(), pid);
}

TEST_F(LaunchTest, StartsNewProcessAfterServiceExit) {
  InstallService();
  const pid_t first = StartService();
  EXPECT_EQ(Send(kAppId, "do", "exit"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(NextReport(), "terminate");
  AwaitEnd(first);
  EXPECT_NE(StartService(), first);
}

TEST_F(LaunchTest, TerminatesServiceOnSigterm) {
  InstallService();
  const pid_t pid = StartService();
  test::Signal(pid, SIGTERM);
  EXPECT_EQ(NextReport(), "terminate");
  AwaitEnd(pid);
  EXPECT_FALSE(HasReport());
}

TEST_F(LaunchTest, ExitsWhenCreateCallbackFails) {
  InstallService();
  setenv("TEST_SERVICE_FAILS_CREATE", "1", 1);
  EXPECT_EQ(Send(kAppId, "text", "first"), APP_CONTROL_ERROR_NONE);
  const pid_t pid = CreatedProcess();
  AwaitEnd(pid);
  unsetenv("TEST_SERVICE_FAILS_CREATE");
  EXPECT_FALSE(HasReport()) << "no callbacks after a failed create callback";
}

TEST_F(LaunchTest, ReturnsAppNotFoundForUnknownApplication) {
  EXPECT_EQ(Send("org.test.missing", "text", "x"), APP_CONTROL_ERROR_APP_NOT_FOUND);
}

TEST_F(LaunchTest, RejectsRequestWithoutApplicationId) {
  EXPECT_EQ(Send(nullptr, "text", "x"), APP_CONTROL_ERROR_INVALID_PARAMETER);
}

TEST_F(LaunchTest, RejectsReplyCallback) {
  app_control_h request = nullptr;
  app_control_create(&request);
  app_control_set_app_id(request, kAppId);
  const auto reply = [](app_control_h, app_control_h, app_control_result_e, void*) {};
  EXPECT_EQ(app_control_send_launch_request(request, reply, nullptr),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
  app_control_destroy(request);
}

TEST_F(LaunchTest, FailsWhenExecutableIsMissing) {
  InstallService();
  std::filesystem::remove(FindApplication(kAppId)->executable);
  EXPECT_EQ(Send(kAppId, "text", "x"), APP_CONTROL_ERROR_LAUNCH_FAILED);
  EXPECT_NE(Log().find("bin/app: No such file"), std::string::npos) << Log();
}

TEST_F(LaunchTest, FailsWhenExecutableIsNotAProgram) {
  InstallService();
  test::WriteFile(FindApplication(kAppId)->executable, "text");
  EXPECT_EQ(Send(kAppId, "text", "x"), APP_CONTROL_ERROR_LAUNCH_FAILED);
}

TEST_F(LaunchTest, IdentifiesCallerToReceiver) {
  InstallService();
  EXPECT_EQ(Send(kAppId, "do", "report-caller"), APP_CONTROL_ERROR_NONE);
  CreatedProcess();
  EXPECT_EQ(NextReport(), "caller host.platform_launch_test");

  PackageSpec sender;
  sender.id = "org.test.sender";
  sender.app_id = "org.test.sender.app";
  sender.executable = test::ToolPath();
  ASSERT_EQ(Install(sender), PACKAGE_MANAGER_ERROR_NONE);
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  fcntl(pipe_ends[1], F_SETFD, FD_CLOEXEC);
  const pid_t tool = test::StartChildProcess(
      {FindApplication("org.test.sender.app")->executable, "launch", kAppId}, {}, "", pipe_ends[0]);
  EXPECT_EQ(NextReport(), "caller org.test.sender.app");
  close(pipe_ends[1]);
  EXPECT_EQ(test::Await(tool), 0);
  close(pipe_ends[0]);
}

TEST_F(LaunchTest, SetsWorkingFolderAndSession) {
  InstallService();
  EXPECT_EQ(Send(kAppId, "do", "report-working-folder"), APP_CONTROL_ERROR_NONE);
  CreatedProcess();
  EXPECT_EQ(NextReport(), FindPackage("org.test.p")->root_path + " 1");
}

TEST_F(LaunchTest, LeaksNoDescriptors) {
  InstallService();
  const int inheritable = open("/dev/null", O_RDONLY);
  setenv("TEST_SERVICE_COUNTS_DESCRIPTORS", "1", 1);
  EXPECT_EQ(Send(kAppId, "text", "first"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(NextReport(), "descriptors 4");
  unsetenv("TEST_SERVICE_COUNTS_DESCRIPTORS");
  close(inheritable);
}

TEST_F(LaunchTest, SupportsLongRootPath) {
  std::string root = Folder();
  while (root.size() < 300) root += "/a-rather-long-folder-name-that-goes-on-and-on";
  UseRoot(root);
  InstallService();
  EXPECT_GT(StartService(), 0);
}

TEST_F(LaunchTest, IgnoresInvalidMessages) {
  InstallService();
  StartService();
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  const UniqueFd silent = ConnectTo(folder, kAppId);
  const UniqueFd greedy = ConnectTo(folder, kAppId);
  const UniqueFd garbled = ConnectTo(folder, kAppId);
  ASSERT_EQ(write(greedy.Get(), "\xFF\xFF\xFF\xFF", 4), 4);
  ASSERT_TRUE(SendMessage(garbled.Get(), {1, 2, 3, 4, 5}, std::chrono::seconds(5)));
  EXPECT_EQ(Send(kAppId, "text", "sane"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(NextReport(), "request sane 4");
  // The silent sender completes its message in two pieces.
  ASSERT_EQ(write(silent.Get(), "\x02\x00", 2), 2);
  ASSERT_EQ(write(silent.Get(), "\x00\x00no", 4), 4);
  EXPECT_EQ(Send(kAppId, "text", "still"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(NextReport(), "request still 5");
}

TEST_F(LaunchTest, SendsNoRequestToAnotherProcessOnItsSocket) {
  InstallService();
  const std::string folder = FolderBelowRoot(kApplicationSocketFolder);
  for (const char* text : {"start", "again"}) {
    // The second time while the application is running.
    std::filesystem::remove(folder + "/" + kAppId);
    const UniqueFd impostor = ListenAt(folder, kAppId);
    ASSERT_TRUE(impostor);
    EXPECT_EQ(Send(kAppId, "text", text), APP_CONTROL_ERROR_NONE);
    EXPECT_GT(CreatedProcess(), 0);
    EXPECT_EQ(NextReport(), std::string("request ") + text + " 5");
    const UniqueFd connection(accept(impostor.Get(), nullptr, nullptr));
    char byte;
    EXPECT_EQ(recv(connection.Get(), &byte, 1, 0), 0) << "a request was sent";
    EXPECT_NE(Log().find("process " + std::to_string(getpid()) + " listens for " + kAppId),
              std::string::npos);
  }
}

// The application calls listen() on the inherited descriptor, so that SO_PEERCRED reports it.
TEST_F(LaunchTest, ReportsApplicationAsSocketPeer) {
  InstallService();
  CloseGate();
  EXPECT_EQ(Send(kAppId, "text", "first"), APP_CONTROL_ERROR_NONE);
  const UniqueFd connection = ConnectTo(FolderBelowRoot(kApplicationSocketFolder), kAppId);
  EXPECT_EQ(PeerOf(connection.Get()).pid, ProcessOf(kAppId));
  OpenGate("g");
  CreatedProcess();
  EXPECT_EQ(NextReport(), "request first 5");
}

TEST_F(LaunchTest, TerminatesProcessesOfUpdatedPackage) {
  InstallService();
  const pid_t first = StartService();
  PackageSpec package;
  package.version = "2.0.0";
  package.executable = ServiceProgram();
  ASSERT_EQ(Install(package), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(NextReport(), "terminate");
  AwaitEnd(first);
  EXPECT_NE(StartService(), first);
}

TEST_F(LaunchTest, TerminatesProcessesOfUninstalledPackage) {
  InstallService();
  const pid_t pid = StartService();
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_EQ(NextReport(), "terminate");
  AwaitEnd(pid);
  EXPECT_EQ(Send(kAppId, "text", "x"), APP_CONTROL_ERROR_APP_NOT_FOUND);
}

TEST_F(LaunchTest, RemovesSocketOfUninstalledApplication) {
  InstallService();
  StartService();
  const std::string socket = Root() + "/run/apps/" + kAppId;
  EXPECT_TRUE(std::filesystem::exists(socket));
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(LaunchTest, KillsProcessThatIgnoresSigterm) {
  InstallService();
  CloseGate();
  EXPECT_EQ(Send(kAppId, "text", "x"), APP_CONTROL_ERROR_NONE);
  // A stopped process does not handle SIGTERM.
  const pid_t pid = ProcessOf(kAppId);
  ASSERT_GT(pid, 0);
  test::Signal(pid, SIGSTOP);
  ASSERT_EQ(Uninstall("org.test.p"), PACKAGE_MANAGER_ERROR_NONE);
  AwaitEnd(pid);
}

TEST_F(LaunchTest, LeavesNoZombieWhenMainLoopRunsLater) {
  InstallService();
  ecore_init();
  const pid_t pid = StartService();
  test::Signal(pid, SIGKILL);
  AwaitEnd(pid);
  // The main loop has reaped the process when its id is free.
  const auto quit_when_reaped = [](void* data) -> Eina_Bool {
    if (kill(*static_cast<pid_t*>(data), 0) == 0) return ECORE_CALLBACK_RENEW;
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  };
  pid_t awaited = pid;
  ecore_timer_add(0.01, quit_when_reaped, &awaited);
  const auto give_up = [](void*) -> Eina_Bool {
    ADD_FAILURE() << "still a zombie";
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  };
  Ecore_Timer* limit = ecore_timer_add(30.0, give_up, nullptr);
  ecore_main_loop_begin();
  ecore_timer_del(limit);
  EXPECT_NE(kill(pid, 0), 0);
  ecore_shutdown();
}

TEST_F(LaunchTest, ServiceRejectsSecondRun) {
  InstallService();
  EXPECT_EQ(Send(kAppId, "do", "run-again"), APP_CONTROL_ERROR_NONE);
  CreatedProcess();
  EXPECT_EQ(NextReport(), "again " + std::to_string(APP_ERROR_ALREADY_RUNNING));
}

TEST_F(LaunchTest, ServiceRequiresLaunchByPlatform) {
  EXPECT_EQ(test::Await(test::StartChildProcess({ServiceProgram()})), 2);
  setenv(kLaunchSocketVariable, "0", 1);
  EXPECT_EQ(test::Await(test::StartChildProcess({ServiceProgram()})), 2);
  unsetenv(kLaunchSocketVariable);
  EXPECT_FALSE(HasReport());
}

}  // namespace
}  // namespace platform
