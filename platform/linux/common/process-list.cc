// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-list.h"

#include <dirent.h>
#include <limits.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace platform {
namespace {

constexpr std::string_view kDeletedMark = " (deleted)";

}  // namespace

Executable ExecutableOf(pid_t pid) {
  char target[PATH_MAX];
  const ssize_t length =
      readlink(("/proc/" + std::to_string(pid) + "/exe").c_str(), target, sizeof target);
  if (length <= 0) return {};
  std::string path(target, static_cast<size_t>(length));
  if (path.size() <= kDeletedMark.size() ||
      path.compare(path.size() - kDeletedMark.size(), kDeletedMark.size(), kDeletedMark) != 0)
    return {path, false};
  path.resize(path.size() - kDeletedMark.size());
  return {path, true};
}

std::vector<pid_t> ProcessesWhere(const std::function<bool(const Executable&)>& condition) {
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
