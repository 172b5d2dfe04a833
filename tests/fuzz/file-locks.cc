// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// File locks of the package manager: several processes lock, unlock, are killed and install in any
// order. The results are compared with a model of the holders.

#include <package_manager.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "input.h"
#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/staging.h"
#include "target.h"

namespace {

namespace fs = std::filesystem;
using fuzz::Input;
using platform::UniqueFd;

constexpr char kPackageId[] = "org.example.locks";
constexpr size_t kFiles = 3;
// The name of the installers' lock is one of the files.
constexpr size_t kInstallLockFile = 0;

void WritePackage() {
  fuzz::WriteFile("package/tizen-manifest.xml",
                  std::string("<manifest xmlns=\"http://tizen.org/ns/packages\" package=\"") +
                      kPackageId +
                      "\" version=\"1.0.0\"><service-application appid=\"org.example.locks.app\" "
                      "exec=\"app\"/></manifest>");
  const fs::path program = fuzz::WriteFile("package/bin/app", std::string(1000, '#'));
  fs::permissions(program, fs::perms::owner_all);
}

int Install() {
  package_manager_request_h request = nullptr;
  package_manager_request_create(&request);
  int id = 0;
  const int result =
      package_manager_request_install(request, (fuzz::ScratchFolder() + "/package").c_str(), &id);
  package_manager_request_destroy(request);
  return result;
}

// A lock on the file that had the path when it was locked.
struct Lock {
  size_t file;
  UniqueFd fd;       // of this process; closed when only the child holds the lock
  pid_t child = -1;  // holds a copy of the descriptor, or the only one
  bool is_at_path = true;

  bool IsHeld() const { return fd || child > 0; }
};

class Session {
 public:
  explicit Session(Input input) : input_(input), root_(platform::RootFolder()) {}
  ~Session() {
    for (Lock& lock : locks_) Kill(&lock);
    for (size_t i = 0; i < kFiles; ++i) fs::remove(Path(i));
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Run() {
    // Bounds the time of an input: some steps start processes.
    constexpr int kMaxSteps = 24;
    for (int i = 0; i < kMaxSteps && !input_.IsOver(); ++i) Step();
  }

 private:
  void Step() {
    const size_t file = input_.Below(kFiles);
    switch (input_.Below(9)) {
      case 0:
        LockHere(file);
        break;
      case 1:
        LockInChild(file);
        break;
      case 2:
        if (Lock* lock = AnyLock()) lock->fd.Reset();
        break;
      case 3:
        if (Lock* lock = AnyLock()) Kill(lock);
        break;
      case 4:
        CopyToChild();
        break;
      case 5:
        fs::remove(Path(file));
        Detach(file);
        break;
      case 6:
        Replace(file);
        break;
      case 7:
        LockThroughLink(file);
        break;
      default:
        InstallWithKill();
    }
  }

  std::string Path(size_t file) const {
    static const char* const kNames[kFiles] = {platform::kInstallLock, "a", "b"};
    return root_ + "/" + kNames[file];
  }

  bool IsLocked(size_t file) const {
    for (const Lock& lock : locks_) {
      if (lock.file == file && lock.is_at_path && lock.IsHeld()) return true;
    }
    return false;
  }
  // The path was removed or names another file: locks on the former file no longer block.
  void Detach(size_t file) {
    for (Lock& lock : locks_) lock.is_at_path = lock.is_at_path && lock.file != file;
  }
  Lock* AnyLock() { return locks_.empty() ? nullptr : &locks_[input_.Below(locks_.size())]; }

  void LockHere(size_t file) {
    const bool is_locked = IsLocked(file);
    UniqueFd fd = platform::AwaitLock(Path(file), std::chrono::milliseconds(0));
    if (is_locked) {
      fuzz::Require(!fd && errno == EWOULDBLOCK, "a lock has one holder");
      fuzz::Require(!platform::DescribeLockHolder(Path(file)).empty(), "a holder has a name");
    } else {
      fuzz::Require(static_cast<bool>(fd), "a lock without a holder is free");
      locks_.push_back({file, std::move(fd)});
    }
  }

  // Forks a child that runs `action` and then waits to be killed. Returns when the child has
  // reported the result.
  template <typename Action>
  pid_t StartChild(const Action& action) {
    int ends[2];
    fuzz::Require(pipe(ends) == 0, "there is a pipe");
    const pid_t child = fork();
    if (child == 0) {
      // A failed check aborts the parent.
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const char result = action() ? '1' : '0';
      static_cast<void>(!write(ends[1], &result, 1));
      for (;;) pause();
    }
    close(ends[1]);
    char result = '0';
    fuzz::Require(read(ends[0], &result, 1) == 1 && result == '1', "a child gets its lock");
    close(ends[0]);
    return child;
  }

  // Inherited descriptors would keep the other locks held.
  void CloseAllBut(const Lock* kept) {
    for (Lock& lock : locks_) {
      if (&lock != kept) lock.fd.Reset();
    }
  }

  void LockInChild(size_t file) {
    const bool is_locked = IsLocked(file);
    const pid_t child = StartChild([&] {
      CloseAllBut(nullptr);
      // Held until the process is killed.
      static UniqueFd fd;
      fd = platform::LockFile(Path(file));
      return is_locked ? !fd && errno == EWOULDBLOCK : static_cast<bool>(fd);
    });
    if (is_locked) {
      kill(child, SIGKILL);
      waitpid(child, nullptr, 0);
    } else {
      locks_.push_back({file, {}, child});
    }
  }

  void CopyToChild() {
    Lock* lock = AnyLock();
    if (lock == nullptr || !lock->fd || lock->child > 0) return;
    lock->child = StartChild([&] {
      CloseAllBut(lock);
      return true;
    });
  }

  static void Kill(Lock* lock) {
    if (lock->child <= 0) return;
    kill(lock->child, SIGKILL);
    waitpid(lock->child, nullptr, 0);
    lock->child = -1;
  }

  void Replace(size_t file) {
    fs::rename(fuzz::WriteFile("other", "text"), Path(file));
    Detach(file);
  }

  void LockThroughLink(size_t file) {
    fs::remove(Path(file));
    Detach(file);
    fs::create_symlink(fuzz::ScratchFolder() + "/target", Path(file));
    const UniqueFd fd = platform::LockFile(Path(file));
    fuzz::Require(!fd && errno == ELOOP, "a lock is not taken through a link");
    fuzz::Require(!fs::exists(fuzz::ScratchFolder() + "/target"),
                  "the target of a link is not created");
    fs::remove(Path(file));
  }

  // Kills an install when it writes beyond a file size, then expects another install to succeed.
  void InstallWithKill() {
    const rlim_t size = input_.Below(4096);
    // The install would wait for the holder.
    if (IsLocked(kInstallLockFile)) return;
    const pid_t child = fork();
    if (child == 0) {
      CloseAllBut(nullptr);
      const rlimit no_core = {0, 0};
      setrlimit(RLIMIT_CORE, &no_core);
      const rlimit limit = {size, size};
      signal(SIGXFSZ, SIG_DFL);
      setrlimit(RLIMIT_FSIZE, &limit);
      Install();
      _exit(0);
    }
    waitpid(child, nullptr, 0);
    fuzz::Require(Install() == PACKAGE_MANAGER_ERROR_NONE, "an install after a killed one works");
    const auto package = platform::FindPackage(kPackageId);
    fuzz::Require(package && fs::exists(package->root_path + "/bin/app"),
                  "an installed package has its files");
    fuzz::Require(fs::is_empty(root_ + "/staging"), "no files of a killed install are left");
  }

  Input input_;
  const std::string root_;
  std::vector<Lock> locks_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool is_ready = [] {
    WritePackage();
    return true;
  }();
  static_cast<void>(is_ready);
  Session({data, size}).Run();
  return 0;
}
