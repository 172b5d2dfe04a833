// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/staging-writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/file-system.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileModeMask = 0755;
constexpr size_t kShownPath = 64;

bool IsInside(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
         folder.end();
}

}  // namespace

Stager::Stager(std::string folder, std::string shown_as, PackageLimits limits)
    : folder_(std::move(folder)),
      shown_as_(std::move(shown_as)),
      limits_(limits),
      most_bytes_unpacked_(limits.bytes) {}

void Stager::SetPackedSize(uint64_t bytes) {
  // Of an archive larger than this the limit of all packages is the lower one.
  const uint64_t rated = std::min(bytes, limits_.bytes / limits_.ratio);
  most_bytes_unpacked_ =
      std::min(limits_.bytes, limits_.bytes_at_any_ratio + rated * limits_.ratio);
}

void Stager::Refuse(const std::string& entry, const std::string& reason) const {
  throw PackageRefused(shown_as_, entry, reason);
}

void Stager::RefuseSpecial(const std::string& entry) const {
  Refuse(entry, "neither a file nor a folder nor a symbolic link");
}

void Stager::Count(const std::string& entry) {
  if (++entries_ > limits_.entries)
    Refuse(entry, "the package has more than " + std::to_string(limits_.entries) + " entries");
}

std::string Stager::Accept(const std::string& entry) {
  if (entry.empty()) Refuse(entry, "an entry without a name");
  if (entry.size() > limits_.path_length) {
    Refuse(entry.substr(0, kShownPath) + "...",
           "a path longer than " + std::to_string(limits_.path_length) + " bytes");
  }
  const fs::path path(entry);
  if (path.is_absolute()) Refuse(entry, "an absolute path leaves the package");
  if (std::find(path.begin(), path.end(), "..") != path.end())
    Refuse(entry, "a path with \"..\" leaves the package");
  std::string clean = path.lexically_normal().string();
  while (!clean.empty() && clean.back() == '/') clean.pop_back();
  if (static_cast<size_t>(std::count(clean.begin(), clean.end(), '/')) >= limits_.depth)
    Refuse(entry, "a path deeper than " + std::to_string(limits_.depth) + " levels");
  if (!paths_.insert(clean).second) Refuse(entry, "the entry appears twice");
  return clean;
}

void Stager::RequireFolder(const std::string& entry, const std::string& path) {
  const std::string full = folder_ + "/" + path;
  if (mkdir(full.c_str(), kFolderMode) == 0) {
    folders_.push_back(path);
    Count(entry);
    return;
  }
  if (errno != EEXIST) throw FileError(full);
  struct stat status {};
  if (lstat(full.c_str(), &status) != 0) throw FileError(full);
  if (!S_ISDIR(status.st_mode)) Refuse(entry, path + " is not a folder");
}

void Stager::RequireParents(const std::string& entry, const std::string& path) {
  for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
    RequireFolder(entry, path.substr(0, slash));
}

void Stager::RequireRoom(const std::string& entry, uint64_t count) const {
  if (count <= most_bytes_unpacked_ - bytes_) return;
  if (most_bytes_unpacked_ < limits_.bytes)
    Refuse(entry,
           "the package unpacks to more than " + std::to_string(limits_.ratio) + " times its size");
  Refuse(entry, "the package is larger than " + std::to_string(limits_.bytes) + " bytes");
}

void Stager::AddFolder(const std::string& entry) {
  const std::string path = Accept(entry);
  if (path == ".") return;
  RequireParents(entry, path);
  RequireFolder(entry, path);
}

void Stager::AddFile(const std::string& entry, mode_t mode, uint64_t size, const Reader& read) {
  const std::string path = Accept(entry);
  Count(entry);
  RequireRoom(entry, size);
  RequireParents(entry, path);
  const std::string full = folder_ + "/" + path;
  UniqueFd file(
      open(full.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) {
    if (errno == EEXIST) Refuse(entry, "other entries need a folder of this name");
    throw FileError(full);
  }
  char buffer[64 * 1024];
  while (const size_t count = read(buffer, sizeof buffer)) {
    RequireRoom(entry, count);
    bytes_ += count;
    WriteAll(file.Get(), buffer, count, full);
  }
  const mode_t permissions = S_IRUSR | S_IWUSR | (mode & kFileModeMask);
  if (fchmod(file.Get(), permissions) != 0 || fsync(file.Get()) != 0) throw FileError(full);
}

void Stager::AddLink(const std::string& entry, const std::string& target) {
  if (target.empty() || target[0] == '/')
    Refuse(entry, "a link to \"" + target + "\" leaves the package");
  links_.emplace_back(Accept(entry), target);
  Count(entry);
}

void Stager::Finish() {
  for (const auto& [path, target] : links_) {
    RequireParents(path, path);
    const std::string full = folder_ + "/" + path;
    if (symlink(target.c_str(), full.c_str()) == 0) continue;
    if (errno == EEXIST) Refuse(path, "other entries need a folder of this name");
    throw FileError(full);
  }
  const fs::path root = fs::canonical(folder_);
  for (const auto& [path, target] : links_) {
    std::error_code error;
    const fs::path end = fs::weakly_canonical(root / path, error);
    if (error || !IsInside(end, root))
      Refuse(path, "a link to \"" + target + "\" leaves the package");
  }
  for (const std::string& path : folders_) SyncFolder(folder_ + "/" + path);
  SyncFolder(folder_);
}

}  // namespace platform
