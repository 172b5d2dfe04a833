// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The logs of launched applications.
#include "platform/linux/common/application-log.h"

#include <Ecore.h>
#include <app_control.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <vector>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/tests/support/child-process.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/platform-test.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr char kAppId[] = "org.test.p.app";

class ApplicationLogTest : public test::PlatformTest {
 protected:
  ApplicationLogTest() {
    // Serves the ends of the processes of the test before.
    test::RunLoopDry();
    test::PackageSpec package;
    package.executable = ServiceProgram();
    EXPECT_EQ(Install(package), 0);
  }

  static void Send(const char* action, const std::string& text = "x") {
    app_control_h request = nullptr;
    app_control_create(&request);
    app_control_set_app_id(request, kAppId);
    app_control_add_extra_data(request, "do", action);
    app_control_add_extra_data(request, "text", text.c_str());
    EXPECT_EQ(app_control_send_launch_request(request, nullptr, nullptr), 0);
    app_control_destroy(request);
  }

  // Returns the process that prints, when it has printed.
  pid_t StartAndPrint(const std::string& text) {
    Send("print", text);
    const pid_t pid = CreatedProcess();
    EXPECT_EQ(NextReport(), "printed");
    return pid;
  }

  // Files change without an event of the main loop.
  static bool Await(const std::function<bool()>& condition) {
    const auto again = [](void*) { return ECORE_CALLBACK_RENEW; };
    test::StartEcore();
    Ecore_Timer* timer = ecore_timer_add(0.005, again, nullptr);
    const bool holds = test::RunLoopUntil(condition);
    ecore_timer_del(timer);
    return holds;
  }

  static std::string LogText() { return test::ReadFile(LogOf(kAppId)); }

  static bool AwaitLine(const std::string& text) {
    return Await([&] { return LogText().find(text + "\n") != std::string::npos; });
  }

  // Returns the log writer of the application.
  static pid_t LogWriter() {
    for (const pid_t pid : FindProcesses([](const Executable& executable) {
           return fs::path(executable.path).filename() == "qor-log-writer";
         })) {
      const std::string arguments = test::ReadFile("/proc/" + std::to_string(pid) + "/cmdline");
      if (arguments.find(LogOf(kAppId)) != std::string::npos) return pid;
    }
    return -1;
  }
};

TEST_F(ApplicationLogTest, ContainsOutputWithTimeAndProcess) {
  const std::string pid = std::to_string(StartAndPrint("hello"));
  ASSERT_TRUE(AwaitLine("error hello"));
  const std::string prefix = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z )" + pid + " ";
  EXPECT_TRUE(
      std::regex_match(LogText(), std::regex(prefix + "hello\n" + prefix + "error hello\n")))
      << LogText();
}

TEST_F(ApplicationLogTest, IsReadableByOwnerOnly) {
  StartAndPrint("hello");
  struct stat status {};
  ASSERT_EQ(stat(LogOf(kAppId).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(ApplicationLogTest, AppendsOutputOfLaterProcess) {
  const pid_t first = StartAndPrint("first");
  ASSERT_TRUE(AwaitLine("error first"));
  test::Signal(first, SIGKILL);
  AwaitEnd(first);
  StartAndPrint("second");
  ASSERT_TRUE(AwaitLine("error second"));
  EXPECT_NE(LogText().find(" first\n"), std::string::npos);
}

TEST_F(ApplicationLogTest, SplitsLongLine) {
  StartAndPrint(std::string(10'000, 'a'));
  ASSERT_TRUE(AwaitLine("error " + std::string(4096 - 6, 'a')));
  ASSERT_TRUE(AwaitLine(" " + std::string(10'006 - 2 * 4096, 'a')));
  EXPECT_NE(LogText().find(" " + std::string(4096, 'a') + "\n"), std::string::npos);
}

TEST_F(ApplicationLogTest, SplitsNoLineOfExactLength) {
  StartAndPrint(std::string(4096, 'a'));
  ASSERT_TRUE(AwaitLine("error " + std::string(4096 - 6, 'a')));
  const std::string text = LogText();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
}

TEST_F(ApplicationLogTest, ContainsLastLineWithoutLineBreak) {
  // The process is killed with text in the pipe that no line break ends.
  Send("print", "no");
  const pid_t pid = CreatedProcess();
  NextReport();
  UniqueFd output(open(("/proc/" + std::to_string(pid) + "/fd/1").c_str(), O_WRONLY | O_CLOEXEC));
  ASSERT_EQ(write(output.Get(), "incomplete", 10), 10);
  test::Signal(pid, SIGKILL);
  output.Reset();
  EXPECT_TRUE(AwaitLine(" incomplete"));
}

TEST_F(ApplicationLogTest, StaysBoundedWhileProcessWritesWithoutEnd) {
  Send("print-without-end");
  const pid_t pid = CreatedProcess();
  const std::string rotated = LogOf(kAppId) + kRotatedSuffix;
  const auto size_of = [](const std::string& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    return error ? 0 : size;
  };
  ino_t last = 0;
  int rotations = 0;
  const auto rotates = [&] {
    EXPECT_LE(size_of(LogOf(kAppId)), kMaxLogSize);
    EXPECT_LE(size_of(rotated), kMaxLogSize);
    const auto file = FileAt(rotated);
    if (file && file->inode != last) {
      last = file->inode;
      ++rotations;
    }
    return rotations >= 3;
  };
  EXPECT_TRUE(Await(rotates));
  test::Signal(pid, SIGKILL);
  const pid_t writer = LogWriter();
  if (writer > 0) AwaitEnd(writer);
  // Nothing is lost between the two files.
  std::vector<long> numbers;
  const std::string text = test::ReadFile(rotated) + LogText();
  const std::regex line(R"(Z \d+ line (\d+)\n)");
  for (std::sregex_iterator found(text.begin(), text.end(), line), end; found != end; ++found)
    numbers.push_back(std::stol((*found)[1]));
  ASSERT_GT(numbers.size(), 1000U);
  numbers.pop_back();  // may be incomplete: the process was killed
  EXPECT_EQ(numbers.back() - numbers.front() + 1, static_cast<long>(numbers.size()));
}

TEST_F(ApplicationLogTest, ContinuesAfterLauncherExit) {
  int input[2];
  ASSERT_EQ(pipe2(input, O_CLOEXEC), 0);
  const UniqueFd reader(input[0]);
  UniqueFd writer(input[1]);
  const pid_t launcher =
      test::StartChildProcess({test::ToolPath(), "launch", kAppId}, {}, "", reader.Get());
  const pid_t pid = CreatedProcess();
  NextReport();
  writer.Reset();
  EXPECT_EQ(test::Await(launcher), 0);
  Send("print", "later");
  EXPECT_EQ(NextReport(), "printed");
  EXPECT_TRUE(AwaitLine("error later"));
  EXPECT_FALSE(test::HasEnded(pid));
}

// As `agent | cat` needs it.
TEST_F(ApplicationLogTest, DoesNotInheritOutputOfLauncher) {
  const std::string fifo = Folder() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  const UniqueFd reader(open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const pid_t launcher = test::StartChildProcess({test::ToolPath(), "launch", kAppId}, {}, fifo);
  const pid_t pid = CreatedProcess();
  NextReport();
  EXPECT_EQ(test::Await(launcher), 0);
  char byte;
  EXPECT_EQ(read(reader.Get(), &byte, 1), 0) << "a process holds the launcher's output";
  EXPECT_FALSE(test::HasEnded(pid));
}

TEST_F(ApplicationLogTest, ContinuesAfterTermSignal) {
  Send("print", "first");
  CreatedProcess();
  NextReport();
  const pid_t writer = LogWriter();
  ASSERT_GT(writer, 0);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) test::Signal(writer, signal);
  Send("print", "second");
  EXPECT_TRUE(AwaitLine("error second"));
}

TEST_F(ApplicationLogTest, WriterInheritsNoDescriptors) {
  const UniqueFd inheritable(open("/dev/null", O_RDONLY));
  StartAndPrint("hello");
  ASSERT_TRUE(AwaitLine("error hello"));
  const pid_t writer = LogWriter();
  ASSERT_GT(writer, 0);
  // The standard ones and the log.
  EXPECT_EQ(test::SortedNames("/proc/" + std::to_string(writer) + "/fd").size(), 4U);
}

TEST_F(ApplicationLogTest, WriterExitsWithProcess) {
  const pid_t pid = StartAndPrint("hello");
  const pid_t writer = LogWriter();
  ASSERT_GT(writer, 0);
  test::Signal(pid, SIGKILL);
  AwaitEnd(writer);
}

TEST_F(ApplicationLogTest, SurvivesUpdate) {
  StartAndPrint("hello");
  ASSERT_TRUE(AwaitLine("error hello"));
  test::PackageSpec package;
  package.version = "2.0.0";
  package.executable = ServiceProgram();
  ASSERT_EQ(Install(package), 0);
  EXPECT_NE(LogText().find("hello"), std::string::npos);
}

TEST_F(ApplicationLogTest, IsRemovedWithApplication) {
  StartAndPrint("hello");
  test::WriteFile(LogOf(kAppId) + kRotatedSuffix, "older");
  ASSERT_EQ(Uninstall("org.test.p"), 0);
  EXPECT_EQ(test::SortedNames(Root() + "/logs"), std::vector<std::string>());
}

TEST_F(ApplicationLogTest, IsRemovedByNextOperation) {
  for (const char* name : {"org.gone.log", "org.gone.log.1", "org.gone.end", "org.gone.end.12",
                           "org.test.p.app.log", "org.test.p.app.end", "notes", "..log"})
    test::WriteFile(Root() + "/logs/" + name, "text");
  test::PackageSpec package;
  package.id = "org.test.other";
  package.app_id = "org.test.other.app";
  ASSERT_EQ(Install(package), 0);
  EXPECT_EQ(
      test::SortedNames(Root() + "/logs"),
      (std::vector<std::string>{"..log", "notes", "org.test.p.app.end", "org.test.p.app.log"}));
}

TEST_F(ApplicationLogTest, IsNotRestoredByOutputAfterRemoval) {
  Send("print", "first");
  CreatedProcess();
  NextReport();
  ASSERT_TRUE(AwaitLine("error first"));
  fs::remove(LogOf(kAppId));
  const pid_t writer = LogWriter();
  Send("print", "second");
  NextReport();
  Send("exit-with", "0");
  AwaitEnd(writer);
  EXPECT_EQ(test::SortedNames(Root() + "/logs"), std::vector<std::string>());
}

// A folder in place of the log: output is discarded.
TEST_F(ApplicationLogTest, DoesNotDisturbLaunchWhenItCannotBeCreated) {
  fs::create_directories(LogOf(kAppId));
  StartAndPrint("hello");
}

}  // namespace
}  // namespace platform
