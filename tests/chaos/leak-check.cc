// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "leak-check.h"

#include <array>
#include <filesystem>

#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/process-handle.h"

namespace chaos {

namespace {

namespace fs = std::filesystem;

// The database, the agents' data, the locks, which are never removed, and the logs of installed
// applications.
bool IsPermanent(const std::string& path) {
  static const std::array<std::string, 8> prefixes = {
      "packages.db",    "install.lock", "data/host.", "run/host-names/",
      "run/app-locks/", "run/ports/",   "logs/"};
  for (const std::string& prefix : prefixes)
    if (!prefix.empty() && path.rfind(prefix, 0) == 0) return true;
  return false;
}

bool IsLock(const fs::path& path) {
  const std::string folder = path.parent_path().filename();
  return path.extension() == ".lock" || folder == "host-names" || folder == "app-locks";
}

}  // namespace

std::vector<std::string> FindLeaks(const std::string& root) {
  std::vector<std::string> leaks;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const std::string path = fs::relative(entry.path(), root);
    if (entry.is_directory()) continue;
    if (entry.is_socket()) {
      leaks.push_back("socket " + path);
    } else if (!IsPermanent(path)) {
      leaks.push_back("file " + path);
    } else if (IsLock(entry.path()) && !platform::LockFile(entry.path())) {
      leaks.push_back("held lock " + path);
    }
  }
  const std::string prefix = root + "/";
  for (const pid_t pid : platform::FindProcesses(
           [&](const auto& executable) { return executable.path.rfind(prefix, 0) == 0; })) {
    leaks.push_back("process " + std::to_string(pid));
  }
  return leaks;
}

}  // namespace chaos
