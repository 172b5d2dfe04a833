// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/platform-test.h"

#include <fcntl.h>
#include <package_manager.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/tests/support/program.h"

namespace platform::test {
namespace {

namespace fs = std::filesystem;

constexpr int kTimeoutMs = 30'000;

// dlog opens its file with the first line, so one file is used for all tests.
class LogFile {
 public:
  LogFile() {
    close(mkstemp(name_));
    setenv("DLOG_FILE", name_, 1);
  }
  ~LogFile() { unlink(name_); }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

  static std::string Content() {
    static const LogFile file;
    return ReadFile(file.name_);
  }

 private:
  char name_[32] = "/tmp/platform-test-log-XXXXXX";
};

std::string NewFolder() {
  char name[] = "/tmp/platform-test-XXXXXX";
  return mkdtemp(name);
}

}  // namespace

PlatformTest::PlatformTest() : folder_(NewFolder()), log_start_(LogFile::Content().size()) {
  UseRoot(folder_ + "/root");
}

PlatformTest::~PlatformTest() {
  const auto is_ours = [this](const Executable& executable) {
    return executable.path.compare(0, folder_.size() + 1, folder_ + "/") == 0;
  };
  for (const pid_t pid : FindProcesses(is_ours)) {
    kill(pid, SIGKILL);
    AwaitEnd(pid);
  }
  fs::remove_all(folder_);
  unsetenv("QOR_PLATFORM_ROOT");
}

void PlatformTest::UseRoot(const std::string& root) {
  root_ = root;
  setenv("QOR_PLATFORM_ROOT", root_.c_str(), 1);
  fs::create_directories(root_);
  mkfifo((root_ + "/report").c_str(), 0600);
  reports_ = UniqueFd(open((root_ + "/report").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  report_text_.clear();
}

std::string PlatformTest::ServiceProgram() { return TEST_SERVICE; }

int PlatformTest::InstallPath(const std::string& path) {
  package_manager_request_h request = nullptr;
  package_manager_request_create(&request);
  const int result = package_manager_request_install(request, path.c_str(), nullptr);
  package_manager_request_destroy(request);
  return result;
}

int PlatformTest::Install(const PackageSpec& package) {
  const std::string source = folder_ + "/source/" + package.id + "-" + package.version;
  WritePackage(source, package);
  return InstallPath(source);
}

int PlatformTest::Uninstall(const std::string& package_id) {
  package_manager_request_h request = nullptr;
  package_manager_request_create(&request);
  const int result = package_manager_request_uninstall(request, package_id.c_str(), nullptr);
  package_manager_request_destroy(request);
  return result;
}

int PlatformTest::InstalledCount() {
  int count = 0;
  const auto add = [](package_info_h, void* total) {
    ++*static_cast<int*>(total);
    return true;
  };
  EXPECT_EQ(package_manager_foreach_package_info(add, &count), PACKAGE_MANAGER_ERROR_NONE);
  return count;
}

bool PlatformTest::ReadReports(int milliseconds) {
  while (report_text_.find('\n') == std::string::npos) {
    pollfd entry{reports_.Get(), POLLIN, 0};
    const int ready = poll(&entry, 1, milliseconds);
    // Ecore handles SIGCHLD, which interrupts poll().
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    char text[4096];
    const ssize_t count = read(reports_.Get(), text, sizeof text);
    if (count > 0) report_text_.append(text, static_cast<size_t>(count));
  }
  return true;
}

bool PlatformTest::HasReport() { return ReadReports(0); }

std::string PlatformTest::NextReport() {
  if (!ReadReports(kTimeoutMs)) {
    ADD_FAILURE() << "no report before the timeout";
    return {};
  }
  const size_t end = report_text_.find('\n');
  std::string line = report_text_.substr(0, end);
  report_text_.erase(0, end + 1);
  return line;
}

pid_t PlatformTest::CreatedProcess() {
  const std::string line = NextReport();
  EXPECT_EQ(line.rfind("create ", 0), 0U) << line;
  return line.size() > 7 ? std::stoi(line.substr(7)) : -1;
}

std::string PlatformTest::Log() const { return LogFile::Content().substr(log_start_); }

pid_t PlatformTest::ProcessOf(const std::string& app_id) {
  const std::string path = FindApplication(app_id)->executable;
  const auto pids =
      FindProcesses([&](const Executable& executable) { return executable.path == path; });
  EXPECT_EQ(pids.size(), 1U) << "processes of " << app_id;
  return pids.size() == 1 ? pids.front() : -1;
}

void PlatformTest::AwaitEnd(pid_t pid) {
  EXPECT_TRUE(test::AwaitEnd(pid)) << "process " << pid << " does not exit";
}

std::string Take(char* text) {
  std::string copy = text == nullptr ? "(null)" : text;
  std::free(text);
  return copy;
}

std::vector<std::string> SortedNames(const std::string& folder) {
  std::vector<std::string> names = ListFolder(folder);
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace platform::test
