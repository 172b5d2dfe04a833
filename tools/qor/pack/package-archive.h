// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PACK_PACKAGE_ARCHIVE_H_
#define QOR_TOOLS_QOR_PACK_PACKAGE_ARCHIVE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace tools::cli {

struct PackedFile {
  std::string path;        // in the package
  std::int64_t bytes = 0;  // not compressed
};

// Writes a folder to a .tpk file, a zip archive. An existing file is replaced when the new one is
// complete. The same files result in the same bytes: entries are sorted, belong to root, have mode
// 0755 or 0644 and the time in SOURCE_DATE_EPOCH, by default the beginning of 1980. Returns the
// files and links. Throws ToolError, and std::system_error for files.
//
// Not thread-safe: sets the time zone of this process.
std::vector<PackedFile> WriteArchive(const std::string& folder, const std::string& file);

}  // namespace tools::cli

#endif
