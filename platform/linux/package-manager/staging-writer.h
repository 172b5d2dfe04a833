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

namespace platform {

// What one package may hold, so that a small archive cannot fill the disk.
struct PackageLimits {
  uint64_t bytes = uint64_t{1} << 30;  // all files together, unpacked: 1 GiB
  size_t entries = 65'536;             // files, links and folders, also those only on a path
  // Of an archive, all files together, unpacked: so many times its own size, beyond what any may
  // unpack to (1 MiB).
  uint64_t ratio = 200;
  uint64_t bytes_at_any_ratio = uint64_t{1} << 20;
  size_t depth = 64;          // names in an entry's path
  size_t path_length = 1024;  // bytes in an entry's path
};

// Writes the entries of a package into a folder of its own, and nothing outside it. What would
// leave the folder, and what is no file, folder or symbolic link, is refused by throwing
// PackageRefused naming the entry. Trouble with the disk is std::system_error.
class Stager {
 public:
  // Fills the buffer with the next bytes of a file; 0 at its end.
  using Reader = std::function<size_t(char* buffer, size_t size)>;

  // `folder` exists and is empty; `shown_as` is the name under which the user knows the package.
  Stager(std::string folder, std::string shown_as, PackageLimits limits);

  // The entries come out of an archive of so many bytes. To be called before the first of them.
  void SetPackedSize(uint64_t bytes);

  // The three below refuse a path that was added before.
  void AddFolder(const std::string& entry);
  // Of the mode only the permissions count, without write permission for others. `size` is what is
  // announced; what is read is counted too.
  void AddFile(const std::string& entry, mode_t mode, uint64_t size, const Reader& read);
  // Links are made last, so that no file is ever written through one.
  void AddLink(const std::string& entry, const std::string& target);
  [[noreturn]] void RefuseSpecial(const std::string& entry) const;

  // Makes the links, checks where they lead, and sees to it that all of it is on the disk.
  void Finish();

 private:
  [[noreturn]] void Refuse(const std::string& entry, const std::string& reason) const;
  // The entry's path, relative and clean; remembers the path.
  std::string Accept(const std::string& entry);
  // To be called for everything that is made.
  void Count(const std::string& entry);
  void RequireFolder(const std::string& entry, const std::string& path);
  void RequireParents(const std::string& entry, const std::string& path);
  void RequireRoom(const std::string& entry, uint64_t count) const;

  const std::string folder_;
  const std::string shown_as_;
  const PackageLimits limits_;
  // No more than these, or the package is refused.
  uint64_t most_bytes_unpacked_;
  uint64_t bytes_ = 0;
  size_t entries_ = 0;
  std::set<std::string> paths_;                             // of the entries so far
  std::vector<std::pair<std::string, std::string>> links_;  // path, target
  std::vector<std::string> folders_;                        // made, parents first
};

}  // namespace platform

#endif
