// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-list.h"

#include <dirent.h>

#include <cstdlib>
#include <memory>

namespace platform {

Executable ExecutableOf(pid_t pid) { return ProcessHandle(pid).ExecutablePath(); }

std::vector<pid_t> FindProcesses(const std::function<bool(const Executable&)>& condition) {
  std::vector<pid_t> found;
  std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc"), closedir);
  if (folder == nullptr) return found;
  while (const dirent* entry = readdir(folder.get())) {
    char* end = nullptr;
    const long pid = std::strtol(entry->d_name, &end, 10);
    if (*end != '\0' || pid <= 0) continue;
    const Executable executable = ExecutableOf(static_cast<pid_t>(pid));
    if (!executable.path.empty() && condition(executable)) found.push_back(static_cast<pid_t>(pid));
  }
  return found;
}

}  // namespace platform
