// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_STAGING_WRITER_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_STAGING_WRITER_H_

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/package-manager/package-limits.h"

namespace platform {

// Writes the entries of a package into a staging folder, and nothing outside of it. Functions throw
// InvalidPackageError with the name of the entry if a path or link leaves the folder, if the entry
// is a duplicate or not a file, folder or symbolic link, and beyond a limit. They throw
// std::system_error when a file cannot be written.
class StagingWriter {
 public:
  // Fills the buffer with the next bytes of a file and returns their number, 0 at the end.
  using Reader = std::function<size_t(char* buffer, size_t size)>;

  // `folder` exists and is empty. Errors name the package `shown_as`.
  StagingWriter(std::string folder, std::string shown_as, PackageLimits limits);

  // Enables the check of the compression ratio: the entries come from an archive of this size. Must
  // be called before the first entry is added.
  void SetArchiveSize(uint64_t bytes);

  void AddFolder(const std::string& entry);
  // Takes the permissions of `mode` except for write permission of group and others. `size` is what
  // the package claims; the bytes from `read` count towards the limits too.
  void AddFile(const std::string& entry, mode_t mode, uint64_t size, const Reader& read);
  // Links are created by Finish(), so that no file is written through a link.
  void AddLink(const std::string& entry, const std::string& target);
  [[noreturn]] void RejectSpecial(const std::string& entry) const;

  // Creates the links, checks their targets and flushes everything to the disk.
  void Finish();

 private:
  [[noreturn]] void Reject(const std::string& entry, const std::string& reason) const;
  // Returns the entry's path in normal form. Rejects duplicates.
  std::string Normalize(const std::string& entry);
  void CountEntry(const std::string& entry);
  void EnsureFolder(const std::string& entry, const std::string& path);
  void EnsureParents(const std::string& entry, const std::string& path);
  // Checks that `count` more bytes are within the limits.
  void CheckSize(const std::string& entry, uint64_t count) const;

  const std::string folder_;
  const std::string shown_as_;
  const PackageLimits limits_;
  uint64_t max_unpacked_bytes_;
  uint64_t bytes_ = 0;
  size_t entries_ = 0;
  std::set<std::string> paths_;                             // of the entries so far
  std::vector<std::pair<std::string, std::string>> links_;  // path, target
  std::vector<std::string> folders_;                        // created, parents first
};

}  // namespace platform

#endif
