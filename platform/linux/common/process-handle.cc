// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/process-handle.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string_view>

namespace platform {
namespace {

// Bounds the time that a process with very many descriptors costs.
constexpr int kMaxDescriptors = 4096;
// The kernel's suffix of /proc/<pid>/exe when the file was unlinked.
constexpr std::string_view kDeletedMark = " (deleted)";

std::optional<FileId> FileBelow(int folder_fd, const char* path) {
  struct stat status {};
  if (fstatat(folder_fd, path, &status, 0) != 0) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

std::string ReadBelow(int folder_fd, const std::string& path) {
  const UniqueFd file(openat(folder_fd, path.c_str(), O_RDONLY | O_CLOEXEC));
  char text[4096];
  const ssize_t size = file ? read(file.Get(), text, sizeof text) : -1;
  return size > 0 ? std::string(text, static_cast<size_t>(size)) : std::string();
}

}  // namespace

std::optional<FileId> FileAt(const std::string& path) { return FileBelow(AT_FDCWD, path.c_str()); }

ProcessHandle::ProcessHandle(pid_t pid)
    : pid_(pid),
      folder_(open(("/proc/" + std::to_string(pid)).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

bool ProcessHandle::Executes(const std::string& path) const {
  const Executable executable = ExecutablePath();
  if (executable.is_deleted || executable.path != path) return false;
  const auto file = ExecutableFile();
  return file && file == FileAt(path);
}

Executable ProcessHandle::ExecutablePath() const {
  char target[PATH_MAX];
  const ssize_t length = folder_ ? readlinkat(folder_.Get(), "exe", target, sizeof target) : -1;
  if (length <= 0) return {};
  std::string path(target, static_cast<size_t>(length));
  if (path.size() <= kDeletedMark.size() ||
      path.compare(path.size() - kDeletedMark.size(), kDeletedMark.size(), kDeletedMark) != 0)
    return {path, false};
  path.resize(path.size() - kDeletedMark.size());
  return {path, true};
}

std::optional<FileId> ProcessHandle::ExecutableFile() const {
  if (!folder_) return std::nullopt;
  return FileBelow(folder_.Get(), "exe");
}

bool ProcessHandle::HoldsLockOn(const std::string& path) const {
  const auto locked = FileAt(path);
  if (!locked || !folder_) return false;
  UniqueFd fds(openat(folder_.Get(), "fd", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(fds ? fdopendir(fds.Get()) : nullptr, closedir);
  if (entries == nullptr) return false;
  fds.Release();
  const dirent* entry = readdir(entries.get());
  for (int seen = 0; entry != nullptr && seen < kMaxDescriptors; ++seen) {
    const std::string name = entry->d_name;
    if (FileBelow(dirfd(entries.get()), name.c_str()) == locked &&
        ReadBelow(folder_.Get(), "fdinfo/" + name).find("\nlock:") != std::string::npos)
      return true;
    entry = readdir(entries.get());
  }
  return false;
}

bool ProcessHandle::HasOurPidNamespace() const {
  if (!folder_) return false;
  const auto pid_namespace = FileBelow(folder_.Get(), "ns/pid");
  return pid_namespace && pid_namespace == FileAt("/proc/self/ns/pid");
}

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

std::optional<std::string> ReadStartVariable(pid_t pid, const std::string& name) {
  std::ifstream block("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
  const std::string begin = name + "=";
  for (std::string variable; std::getline(block, variable, '\0');)
    if (variable.rfind(begin, 0) == 0) return variable.substr(begin.size());
  return std::nullopt;
}

}  // namespace platform
