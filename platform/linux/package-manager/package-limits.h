// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_LIMITS_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_PACKAGE_LIMITS_H_

#include <cstddef>
#include <cstdint>

namespace platform {

// Limits of the contents of a package, so that a small archive cannot fill the disk or keep the
// installer busy. A package beyond a limit is rejected. The lengths of ids are in common/ids.h.
struct PackageLimits {
  // Of all files together, unpacked: 1 GiB.
  uint64_t bytes = uint64_t{1} << 30;
  // Files, links and folders, including folders that are only part of another entry's path.
  size_t entries = 65'536;
  // Unpacked size of an archive divided by its own size. Text compresses about tenfold; only
  // archives made to fill disks compress this well.
  uint64_t compression_ratio = 200;
  // Unpacked size up to which the ratio is not checked, as short files of zeros are harmless: 1
  // MiB.
  uint64_t bytes_at_any_ratio = uint64_t{1} << 20;
  // Names in an entry's path.
  size_t depth = 64;
  // Bytes in an entry's path.
  size_t path_length = 1024;
};

inline constexpr size_t kMaxManifestSize = 1024 * 1024;

// Each listener to package events processes all applications of a package.
inline constexpr size_t kMaxApplications = 16;

}  // namespace platform

#endif
