// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Kills an installer just before each of its system calls that change files, in turn, and looks at
// what is left.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <set>

#include "platform/linux/common/package-database.h"
#include "platform/linux/tests/packages/support/platform-test.h"
#include "platform/linux/tests/packages/support/program.h"

namespace platform {
namespace {

namespace fs = std::filesystem;
using test::PackageText;
using test::SortedNames;

bool ChangesFiles(const __ptrace_syscall_info& call) {
  switch (call.entry.nr) {
    case SYS_openat:
      return (call.entry.args[2] & O_CREAT) != 0;
    case SYS_renameat:
    case SYS_renameat2:
    case SYS_mkdirat:
    case SYS_unlinkat:
    case SYS_symlinkat:
    case SYS_write:
    case SYS_pwrite64:
    case SYS_fsync:
    case SYS_fdatasync:
    case SYS_ftruncate:
    case SYS_fchmod:
#ifdef SYS_rename
    case SYS_rename:
    case SYS_mkdir:
    case SYS_rmdir:
    case SYS_unlink:
    case SYS_symlink:
#endif
      return true;
    default:
      return false;
  }
}

// Runs the tool and kills it before its file-changing call number `step`. False when it came to its
// end before.
bool KillToolAtStep(const std::vector<std::string>& arguments, int step) {
  const std::string tool = test::ToolPath();
  const pid_t pid = fork();
  if (pid == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    execl(tool.c_str(), tool.c_str(), arguments[0].c_str(), arguments[1].c_str(), nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  long signal = 0;
  for (int seen = 0;;) {
    ptrace(PTRACE_SYSCALL, pid, nullptr, signal);
    signal = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status) || WIFSIGNALED(status)) return false;
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) {
      if (WSTOPSIG(status) != SIGTRAP) signal = WSTOPSIG(status);
      continue;
    }
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof call, &call);
    if (call.op != PTRACE_SYSCALL_INFO_ENTRY || !ChangesFiles(call) || ++seen < step) continue;
    kill(pid, SIGKILL);
    waitpid(pid, &status, 0);
    return true;
  }
}

class Interrupted : public test::PlatformTest {
 protected:
  Interrupted() {
    // The leak checker cannot work in a process that is traced.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    for (const char* version : {"1.0.0", "2.0.0"}) {
      PackageText package;
      package.version = version;
      test::WritePackage(Source(version), package);
    }
  }

  std::string Source(const std::string& version) const { return Folder() + "/source-" + version; }

  // The version that is installed, "" for none; all of it must be there.
  static std::string InstalledVersion() {
    const auto package = FindPackage("org.test.p");
    if (!package) return "";
    EXPECT_EQ(test::ReadFile(package->root_path + "/res/note.txt"), "version " + package->version);
    EXPECT_EQ(access(package->applications.at(0).executable.c_str(), X_OK), 0);
    return package->version;
  }

  // A request that changes nothing itself clears away what the killed one left.
  void ExpectNoLeftoversAfterTheNextRequest() {
    const std::string version = InstalledVersion();
    EXPECT_EQ(Uninstall("nobody"), PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE);
    EXPECT_EQ(InstalledVersion(), version);
    EXPECT_TRUE(SortedNames(Root() + "/staging").empty());
    const auto package = FindPackage("org.test.p");
    if (package) {
      EXPECT_EQ(SortedNames(Root() + "/packages/org.test.p"),
                std::vector<std::string>{fs::path(package->root_path).filename()});
    } else {
      EXPECT_TRUE(SortedNames(Root() + "/packages").empty());
    }
    EXPECT_EQ(fs::exists(Root() + "/data/org.test.p.app"), package.has_value() && has_data_);
  }

  // `prepare` makes the old state, in which every step starts.
  void KillAtEveryStep(const std::vector<std::string>& request, const std::string& old_version,
                       const std::string& new_version, const std::function<void()>& prepare) {
    std::set<std::string> seen;
    int step = 1;
    for (;; ++step) {
      SCOPED_TRACE("killed at step " + std::to_string(step));
      prepare();
      ASSERT_EQ(InstalledVersion(), old_version);
      const bool was_killed = KillToolAtStep(request, step);
      const std::string version = InstalledVersion();
      EXPECT_TRUE(version == old_version || version == new_version) << version;
      seen.insert(version);
      ExpectNoLeftoversAfterTheNextRequest();
      if (HasFailure() || !was_killed) break;
    }
    EXPECT_GT(step, 10) << "too few steps to have killed at every one";
    EXPECT_EQ(seen, (std::set<std::string>{old_version, new_version}));
  }

  bool has_data_ = false;
};

TEST_F(Interrupted, FirstInstallLeavesNothingOrAllOfIt) {
  int round = 0;
  KillAtEveryStep({"install", Source("1.0.0")}, "", "1.0.0",
                  [&] { UseRoot(Folder() + "/root-" + std::to_string(++round)); });
}

TEST_F(Interrupted, UpdateLeavesTheOldVersionOrTheNewOne) {
  has_data_ = true;
  KillAtEveryStep({"install", Source("2.0.0")}, "1.0.0", "2.0.0", [&] {
    ASSERT_EQ(InstallPath(Source("1.0.0")), PACKAGE_MANAGER_ERROR_NONE);
    test::WriteFile(Root() + "/data/org.test.p.app/file", "data");
  });
}

TEST_F(Interrupted, UninstallLeavesAllOfItOrNothing) {
  has_data_ = true;
  KillAtEveryStep({"uninstall", "org.test.p"}, "1.0.0", "", [&] {
    ASSERT_EQ(InstallPath(Source("1.0.0")), PACKAGE_MANAGER_ERROR_NONE);
    test::WriteFile(Root() + "/data/org.test.p.app/file", "data");
  });
}

}  // namespace
}  // namespace platform
