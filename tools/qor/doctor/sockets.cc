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

class Sweep {
 public:
  Sweep(bool fix, Checks& checks) : fix_(fix), checks_(checks) {}

  // A port's socket is somebody's as long as the lock file beside it is.
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

  // An application's socket is listened to by the process that inherited it; a launcher that is
  // about to start one holds the lock.
  void Applications() {
    const std::set<std::string> listening = ListeningSocketNames();
    const std::string folder = root_ + "/" + platform::kApplicationSocketFolder;
    for (const auto& app_id : platform::ListFolder(folder)) {
      const std::string lock = root_ + "/" + platform::kApplicationLockFolder + "/" + app_id;
      if (listening.count(app_id) == 0 && !UserOfFile(lock)) Stale(folder + "/" + app_id, lock);
    }
    LockFilesIn(platform::kApplicationLockFolder);
  }

  // A listener's socket is named after its process.
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
    if (stale_ == 0) checks_.push_back({Check::Level::kPass, "no socket is stale"});
    if (free_locks_ == 0) return;
    checks_.push_back(
        {Check::Level::kPass, std::to_string(free_locks_) + " lock files are not in use" +
                                  (fix_ ? " and were removed" : ", which is harmless")});
  }

 private:
  // `lock` is what must be held to remove the socket; empty when nothing must.
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
        checks_.push_back({Check::Level::kPass, "stale socket " + path + " was removed"});
        return;
      }
    }
    checks_.push_back({Check::Level::kWarn, "socket " + path + " is stale: nobody listens",
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
  Sweep sweep(fix, checks);
  sweep.Ports();
  sweep.Applications();
  sweep.Events();
  sweep.LockFilesIn(platform::kHostNameLockFolder);
  sweep.Report();
}

}  // namespace tools::cli
