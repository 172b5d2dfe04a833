// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_FILE_SYSTEM_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_FILE_SYSTEM_H_

#include <cstddef>
#include <string>
#include <system_error>
#include <vector>

#include "platform/linux/common/unix-socket.h"

namespace platform {

// Returns the error of errno, with the path in its message.
std::system_error FileError(const std::string& path);

// The functions below throw FileError.

void WriteAll(int fd, const char* bytes, size_t size, const std::string& path);

// Flushes a folder's entries to the disk. Needed after a rename or a new file, whose own fsync()
// does not cover its name.
void SyncFolder(const std::string& path);

// Creates a folder with mode 0700. An existing one is not an error.
void MakeFolder(const std::string& path);
void Rename(const std::string& from, const std::string& to);

// Removes a file or a folder with its contents, at any depth. Grants the owner the permissions that
// removal needs. Follows no links and uses a constant number of descriptors. A missing path is not
// an error.
void RemoveTree(const std::string& path);

// Returns the names in a folder in no order, without "." and ".."; empty for a missing folder.
std::vector<std::string> ListFolder(const std::string& path);

}  // namespace platform

#endif
