// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// How launched processes end. The test's thread is the main loop's thread.
#include <Ecore.h>
#include <app_control.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "platform/linux/app-control/launch-observer.h"
#include "platform/linux/common/application-log.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-end.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

constexpr char kAppId[] = "org.test.p.app";

struct Reported {
  std::string app_id;
  pid_t pid;
  qor_platform_process_end_e kind;
  int status;
  int signal;
  std::string text;
};

class ProcessEndTest : public test::PlatformTest {
 protected:
  ProcessEndTest() {
    test::StartEcore();
    qor_platform_add_process_end_cb(&Add, &ends_);
  }
  ~ProcessEndTest() override { qor_platform_remove_process_end_cb(&Add, &ends_); }

  void InstallProgram(const std::string& executable) {
    test::PackageSpec package;
    package.executable = executable;
    ASSERT_EQ(Install(package), 0);
  }

  static int Send(const char* action, const char* text = "x") {
    app_control_h request = nullptr;
    app_control_create(&request);
    app_control_set_app_id(request, kAppId);
    app_control_add_extra_data(request, "do", action);
    app_control_add_extra_data(request, "text", text);
    const int result = app_control_send_launch_request(request, nullptr, nullptr);
    app_control_destroy(request);
    return result;
  }

  pid_t StartService() {
    InstallProgram(ServiceProgram());
    EXPECT_EQ(Send("report"), 0);
    const pid_t pid = CreatedProcess();
    EXPECT_EQ(NextReport(), "request x 1");
    return pid;
  }

  // Runs the main loop until the next end is reported.
  Reported NextEnd() {
    EXPECT_TRUE(test::RunLoopUntil([this] { return !ends_.empty(); }));
    if (ends_.empty()) return {};
    const Reported end = ends_.front();
    ends_.erase(ends_.begin());
    return end;
  }

  static std::string StoredEnd() {
    const auto end = FindLastEnd(kAppId);
    return end ? Describe(*end) : "(none)";
  }

  static void Add(const char* app_id, pid_t pid, const qor_platform_process_end_s* end,
                  void* ends) {
    static_cast<std::vector<Reported>*>(ends)->push_back(
        {app_id, pid, end->kind, end->status, end->signal, end->text});
  }

  std::vector<Reported> ends_;
};

TEST_F(ProcessEndTest, ReportsExitStatus) {
  const pid_t pid = StartService();
  Send("exit-with", "3");
  const Reported end = NextEnd();
  EXPECT_EQ(end.app_id, kAppId);
  EXPECT_EQ(end.pid, pid);
  EXPECT_EQ(end.kind, QOR_PLATFORM_PROCESS_EXITED);
  EXPECT_EQ(end.status, 3);
  EXPECT_EQ(end.signal, 0);
  EXPECT_EQ(end.text, "exited with status 3");
  EXPECT_NE(Log().find("org.test.p.app (process " + std::to_string(pid) + ") exited with status 3"),
            std::string::npos)
      << Log();
}

TEST_F(ProcessEndTest, StoresLastEnd) {
  EXPECT_FALSE(FindLastEnd(kAppId));
  const pid_t pid = StartService();
  const auto start = std::chrono::system_clock::now() - std::chrono::milliseconds(1);
  Send("exit-with", "3");
  NextEnd();
  const auto stored = FindLastEnd(kAppId);
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->pid, pid);
  EXPECT_EQ(stored->kind, ProcessEnd::Kind::kExited);
  EXPECT_EQ(stored->number, 3);
  EXPECT_GE(stored->time, start);
  EXPECT_EQ(StoredEnd(), "exited with status 3");
  Send("exit-with", "0");
  CreatedProcess();
  NextEnd();
  EXPECT_EQ(StoredEnd(), "exited with status 0");
}

TEST_F(ProcessEndTest, LogsNoSuccess) {
  StartService();
  Send("exit-with", "0");
  EXPECT_EQ(NextEnd().text, "exited with status 0");
  EXPECT_EQ(Log().find("exited"), std::string::npos) << Log();
}

TEST_F(ProcessEndTest, ReportsSignal) {
  test::Signal(StartService(), SIGKILL);
  const Reported end = NextEnd();
  EXPECT_EQ(end.kind, QOR_PLATFORM_PROCESS_KILLED);
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.signal, SIGKILL);
  EXPECT_EQ(end.text, "killed by signal 9 (Killed)");
  EXPECT_EQ(StoredEnd(), "killed by signal 9 (Killed)");
}

TEST_F(ProcessEndTest, DescribesCoreDump) {
  ProcessEnd end;
  end.kind = ProcessEnd::Kind::kKilled;
  end.number = SIGSEGV;
  end.dumped_core = true;
  EXPECT_EQ(Describe(end), "killed by signal 11 (Segmentation fault), core dumped");
}

// The program cannot write anything, so its end explains itself only by the loader's message.
TEST_F(ProcessEndTest, NamesMissingLibrary) {
  InstallProgram(test::ProgramPath("platform_test_without_library"));
  EXPECT_EQ(Send("report"), 0);
  const Reported end = NextEnd();
  EXPECT_EQ(end.status, 127);
  EXPECT_EQ(end.text, "exited with status 127: libplatform_test_missing.so not found");
  EXPECT_EQ(StoredEnd(), end.text);
}

TEST_F(ProcessEndTest, NamesNoLibraryOfAnEarlierProcess) {
  InstallProgram(test::ProgramPath("platform_test_without_library"));
  EXPECT_EQ(Send("report"), 0);
  NextEnd();
  test::PackageSpec package;
  package.version = "2.0.0";
  package.executable = ServiceProgram();
  ASSERT_EQ(Install(package), 0);
  EXPECT_EQ(Send("exit-with", "127"), 0);
  EXPECT_EQ(NextEnd().text, "exited with status 127");
}

TEST_F(ProcessEndTest, NamesMissingLoader) {
  InstallProgram(test::ProgramPath("platform_test_without_loader"));
  EXPECT_EQ(Send("report"), APP_CONTROL_ERROR_LAUNCH_FAILED);
  EXPECT_TRUE(ends_.empty()) << "reported from within the launch";
  const Reported end = NextEnd();
  EXPECT_EQ(end.kind, QOR_PLATFORM_PROCESS_NOT_STARTED);
  EXPECT_EQ(end.pid, 0);
  EXPECT_EQ(end.text, "cannot start " + FindApplication(kAppId)->executable +
                          ": No such file or directory (the file exists; its dynamic loader does "
                          "not)");
  EXPECT_EQ(StoredEnd(), end.text);
}

TEST_F(ProcessEndTest, RejectsScript) {
  InstallProgram("");
  EXPECT_EQ(Send("report"), APP_CONTROL_ERROR_LAUNCH_FAILED);
  const Reported end = NextEnd();
  EXPECT_EQ(end.kind, QOR_PLATFORM_PROCESS_NOT_STARTED);
  EXPECT_NE(end.text.find("bin/app: it is a script"), std::string::npos) << end.text;
}

TEST_F(ProcessEndTest, RejectsProgramOfUnknownFormat) {
  InstallProgram(ServiceProgram());
  test::WriteFile(FindApplication(kAppId)->executable, "text");
  EXPECT_EQ(Send("report"), APP_CONTROL_ERROR_LAUNCH_FAILED);
  const std::string text = NextEnd().text;
  EXPECT_NE(text.find("Exec format error (not a program for this machine)"), std::string::npos)
      << text;
}

// As when Ecore reaps all children before the process's descriptor is served.
TEST_F(ProcessEndTest, ReportsStatusOfProcessReapedByEcore) {
  const pid_t pid = StartService();
  Send("exit-with", "3");
  EXPECT_EQ(test::Await(pid), 3);
  auto* reaped = static_cast<Ecore_Exe_Event_Del*>(std::calloc(1, sizeof(Ecore_Exe_Event_Del)));
  reaped->pid = pid;
  reaped->exited = 1;
  reaped->exit_code = 3;
  const auto release = [](void*, void* event) { std::free(event); };
  ecore_event_add(ECORE_EXE_EVENT_DEL, reaped, release, nullptr);
  EXPECT_EQ(NextEnd().text, "exited with status 3");
}

TEST_F(ProcessEndTest, ReportsUnknownStatusOfProcessReapedByProgram) {
  const pid_t pid = StartService();
  test::Signal(pid, SIGKILL);
  EXPECT_EQ(test::Await(pid), -SIGKILL);
  const Reported end = NextEnd();
  EXPECT_EQ(end.kind, QOR_PLATFORM_PROCESS_UNKNOWN);
  EXPECT_EQ(end.text, "exited with unknown status");
}

TEST_F(ProcessEndTest, LeavesReapingToEcore) {
  const pid_t pid = StartService();
  // Ecore has an event for each process that it has reaped.
  pid_t reaped = 0;
  const auto on_reaped = [](void* data, int, void* event) -> Eina_Bool {
    *static_cast<pid_t*>(data) = static_cast<Ecore_Exe_Event_Del*>(event)->pid;
    return ECORE_CALLBACK_PASS_ON;
  };
  Ecore_Event_Handler* handler = ecore_event_handler_add(ECORE_EXE_EVENT_DEL, on_reaped, &reaped);
  test::Signal(pid, SIGKILL);
  NextEnd();
  EXPECT_TRUE(test::RunLoopUntil([&] { return reaped == pid; }));
  ecore_event_handler_del(handler);
}

TEST_F(ProcessEndTest, IgnoresProcessesOfOtherThreads) {
  InstallProgram(ServiceProgram());
  std::thread([] { EXPECT_EQ(Send("exit-with", "3"), 0); }).join();
  AwaitEnd(CreatedProcess());
  test::RunLoopDry();
  EXPECT_TRUE(ends_.empty());
}

TEST_F(ProcessEndTest, CallsNoRemovedObserver) {
  test::Signal(StartService(), SIGKILL);
  qor_platform_remove_process_end_cb(&Add, &ends_);
  std::vector<Reported> others;
  qor_platform_add_process_end_cb(&Add, &others);
  EXPECT_TRUE(test::RunLoopUntil([&] { return !others.empty(); }));
  EXPECT_TRUE(ends_.empty());
  qor_platform_remove_process_end_cb(&Add, &others);
}

TEST_F(ProcessEndTest, RejectsMissingCallback) {
  EXPECT_LT(qor_platform_add_process_end_cb(nullptr, nullptr), 0);
}

TEST_F(ProcessEndTest, StoresNoEndOfUninstalledApplication) {
  StartService();
  ASSERT_EQ(Uninstall("org.test.p"), 0);
  NextEnd();
  EXPECT_EQ(StoredEnd(), "(none)");
}

TEST_F(ProcessEndTest, IgnoresInvalidStoredEnd) {
  CreateLog(kAppId);
  for (const char* text : {"", "x", "1 2 vanished 3 0 \n", "1 2 exited 3\n", "1 2 exited x 0 \n"}) {
    test::WriteFile(EndFileOf(kAppId), text);
    EXPECT_EQ(StoredEnd(), "(none)") << text;
  }
}

}  // namespace
}  // namespace platform
