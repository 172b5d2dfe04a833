// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <system_error>

#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/file-system.h"
#include "qor/doctor/checks.h"
#include "qor/doctor/file-users.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

class SocketCleaner {
 public:
  SocketCleaner(bool fix, Checks& checks) : fix_(fix), checks_(checks) {}

  // The owner of a port holds the lock file beside the socket.
  void Ports() {
    const std::string folder = root_ + "/" + platform::kPortsFolder;
    for (const auto& owner : platform::ListFolder(folder)) {
      for (const auto& name : platform::ListFolder(folder + "/" + owner)) {
        const std::string path = folder + "/" + owner + "/" + name;
        if (name[0] == '.') {
          LockFile(path);
          continue;
        }
        const std::string lock = folder + "/" + owner + "/" + platform::PortLockName(name);
        if (!UserOfFile(lock)) Stale(path, lock);
      }
    }
  }

  // An application listens on the socket that it inherited; a launcher holds the lock until it has
  // started the application.
  void Applications() {
    const std::set<std::string> listening = ListeningSocketNames();
    const std::string folder = root_ + "/" + platform::kApplicationSocketFolder;
    for (const auto& app_id : platform::ListFolder(folder)) {
      const std::string lock = root_ + "/" + platform::kApplicationLockFolder + "/" + app_id;
      if (listening.count(app_id) == 0 && !UserOfFile(lock)) Stale(folder + "/" + app_id, lock);
    }
    LockFilesIn(platform::kApplicationLockFolder);
  }

  // The socket of a package event listener is named after its process.
  void Events() {
    const std::string folder = root_ + "/" + platform::kEventSocketFolder;
    for (const auto& name : platform::ListFolder(folder)) {
      const auto pid = static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10));
      if (pid > 0 && kill(pid, 0) != 0 && errno == ESRCH) Stale(folder + "/" + name, "");
    }
  }

  void LockFilesIn(const std::string& folder) {
    for (const auto& name : platform::ListFolder(root_ + "/" + folder)) {
      LockFile(root_ + "/" + folder + "/" + name);
    }
  }

  void Report() {
    if (stale_ == 0) checks_.push_back({Check::Level::kPass, "no stale sockets"});
    if (free_locks_ == 0) return;
    checks_.push_back({Check::Level::kPass, std::to_string(free_locks_) + " unused lock files" +
                                                (fix_ ? " removed" : " (harmless)")});
  }

 private:
  // `lock`: the lock file to hold while the socket is removed, or empty.
  void Stale(const std::string& path, const std::string& lock) {
    ++stale_;
    if (fix_) {
      platform::UniqueFd held;
      std::error_code error;
      if (!lock.empty()) {
        fs::create_directories(fs::path(lock).parent_path(), error);
        held = platform::LockFile(lock);
      }
      if ((lock.empty() || held) && fs::remove(path, error)) {
        checks_.push_back({Check::Level::kPass, "removed stale socket " + path});
        return;
      }
    }
    checks_.push_back({Check::Level::kWarn, "stale socket " + path + ": no listener",
                       "\"qor doctor --fix\" removes it"});
  }

  void LockFile(const std::string& path) {
    if (UserOfFile(path)) return;
    ++free_locks_;
    if (!fix_) return;
    const platform::UniqueFd held = platform::LockFile(path);
    std::error_code ignored;
    if (held) fs::remove(path, ignored);
  }

  const std::string root_ = platform::RootPath();
  const bool fix_;
  Checks& checks_;
  int stale_ = 0;
  int free_locks_ = 0;
};

}  // namespace

void CheckSockets(bool fix, Checks& checks) {
  SocketCleaner cleaner(fix, checks);
  cleaner.Ports();
  cleaner.Applications();
  cleaner.Events();
  cleaner.LockFilesIn(platform::kHostNameLockFolder);
  cleaner.Report();
}

}  // namespace tools::cli
