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
// Drops set-user-id bits and write permission of group and others.
constexpr mode_t kFileModeMask = 0755;
// Of a path that is too long, in its error message.
constexpr size_t kMaxShownPath = 64;

bool IsInside(const fs::path& path, const fs::path& folder) {
  return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first ==
         folder.end();
}

}  // namespace

StagingWriter::StagingWriter(std::string folder, std::string shown_as, PackageLimits limits)
    : folder_(std::move(folder)),
      shown_as_(std::move(shown_as)),
      limits_(limits),
      max_unpacked_bytes_(limits.bytes) {}

void StagingWriter::SetArchiveSize(uint64_t bytes) {
  // Clamped so that the product does not overflow.
  const uint64_t rated = std::min(bytes, limits_.bytes / limits_.compression_ratio);
  max_unpacked_bytes_ =
      std::min(limits_.bytes, limits_.bytes_at_any_ratio + rated * limits_.compression_ratio);
}

void StagingWriter::Reject(const std::string& entry, const std::string& reason) const {
  throw InvalidPackageError(shown_as_, entry, reason);
}

void StagingWriter::RejectSpecial(const std::string& entry) const {
  Reject(entry, "neither a file nor a folder nor a symbolic link");
}

void StagingWriter::CountEntry(const std::string& entry) {
  if (++entries_ > limits_.entries)
    Reject(entry, "the package has more than " + std::to_string(limits_.entries) + " entries");
}

std::string StagingWriter::Normalize(const std::string& entry) {
  if (entry.empty()) Reject(entry, "an entry without a name");
  if (entry.size() > limits_.path_length) {
    Reject(entry.substr(0, kMaxShownPath) + "...",
           "a path longer than " + std::to_string(limits_.path_length) + " bytes");
  }
  const fs::path path(entry);
  if (path.is_absolute()) Reject(entry, "an absolute path leaves the package");
  if (std::find(path.begin(), path.end(), "..") != path.end())
    Reject(entry, "a path with \"..\" leaves the package");
  std::string clean = path.lexically_normal().string();
  while (!clean.empty() && clean.back() == '/') clean.pop_back();
  if (static_cast<size_t>(std::count(clean.begin(), clean.end(), '/')) >= limits_.depth)
    Reject(entry, "a path deeper than " + std::to_string(limits_.depth) + " levels");
  if (!paths_.insert(clean).second) Reject(entry, "duplicate entry");
  return clean;
}

void StagingWriter::EnsureFolder(const std::string& entry, const std::string& path) {
  const std::string full = folder_ + "/" + path;
  if (mkdir(full.c_str(), kFolderMode) == 0) {
    folders_.push_back(path);
    CountEntry(entry);
    return;
  }
  if (errno != EEXIST) throw FileError(full);
  struct stat status {};
  if (lstat(full.c_str(), &status) != 0) throw FileError(full);
  if (!S_ISDIR(status.st_mode)) Reject(entry, path + " is not a folder");
}

void StagingWriter::EnsureParents(const std::string& entry, const std::string& path) {
  for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
    EnsureFolder(entry, path.substr(0, slash));
}

void StagingWriter::CheckSize(const std::string& entry, uint64_t count) const {
  if (count <= max_unpacked_bytes_ - bytes_) return;
  if (max_unpacked_bytes_ < limits_.bytes)
    Reject(entry, "the package unpacks to more than " + std::to_string(limits_.compression_ratio) +
                      " times its size");
  Reject(entry, "the package is larger than " + std::to_string(limits_.bytes) + " bytes");
}

void StagingWriter::AddFolder(const std::string& entry) {
  const std::string path = Normalize(entry);
  if (path == ".") return;
  EnsureParents(entry, path);
  EnsureFolder(entry, path);
}

void StagingWriter::AddFile(const std::string& entry, mode_t mode, uint64_t size,
                            const Reader& read) {
  const std::string path = Normalize(entry);
  CountEntry(entry);
  CheckSize(entry, size);
  EnsureParents(entry, path);
  const std::string full = folder_ + "/" + path;
  UniqueFd file(
      open(full.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!file) {
    if (errno == EEXIST) Reject(entry, "duplicate entry, also used as a folder");
    throw FileError(full);
  }
  char buffer[64 * 1024];
  while (const size_t count = read(buffer, sizeof buffer)) {
    CheckSize(entry, count);
    bytes_ += count;
    WriteAll(file.Get(), buffer, count, full);
  }
  const mode_t permissions = S_IRUSR | S_IWUSR | (mode & kFileModeMask);
  if (fchmod(file.Get(), permissions) != 0 || fsync(file.Get()) != 0) throw FileError(full);
}

void StagingWriter::AddLink(const std::string& entry, const std::string& target) {
  if (target.empty() || target[0] == '/')
    Reject(entry, "a link to \"" + target + "\" leaves the package");
  links_.emplace_back(Normalize(entry), target);
  CountEntry(entry);
}

void StagingWriter::Finish() {
  for (const auto& [path, target] : links_) {
    EnsureParents(path, path);
    const std::string full = folder_ + "/" + path;
    if (symlink(target.c_str(), full.c_str()) == 0) continue;
    if (errno == EEXIST) Reject(path, "duplicate entry, also used as a folder");
    throw FileError(full);
  }
  // Links may lead through other links, so their targets can be resolved only when all exist.
  const fs::path root = fs::canonical(folder_);
  for (const auto& [path, target] : links_) {
    std::error_code error;
    const fs::path end = fs::weakly_canonical(root / path, error);
    if (error || !IsInside(end, root))
      Reject(path, "a link to \"" + target + "\" leaves the package");
  }
  for (const std::string& path : folders_) SyncFolder(folder_ + "/" + path);
  SyncFolder(folder_);
}

}  // namespace platform
