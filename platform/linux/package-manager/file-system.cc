// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/file-system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

namespace platform {

namespace fs = std::filesystem;

std::system_error FileError(const std::string& path) {
  return std::system_error(errno, std::generic_category(), path);
}

void WriteAll(int fd, const char* bytes, size_t size, const std::string& path) {
  while (size > 0) {
    const ssize_t count = write(fd, bytes, size);
    if (count < 0) {
      if (errno == EINTR) continue;
      throw FileError(path);
    }
    bytes += count;
    size -= static_cast<size_t>(count);
  }
}

void SyncFolder(const std::string& path) {
  const UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || fsync(folder.Get()) != 0) throw FileError(path);
}

void MakeFolder(const std::string& path) {
  if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) throw FileError(path);
}

void Rename(const std::string& from, const std::string& to) {
  if (rename(from.c_str(), to.c_str()) != 0) throw FileError(from + " to " + to);
}

std::vector<std::string> ListFolder(const std::string& path) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(path, error), end; !error && entry != end;
       entry.increment(error))
    names.push_back(entry->path().filename());
  if (error && error != std::errc::no_such_file_or_directory) throw std::system_error(error, path);
  return names;
}

}  // namespace platform
