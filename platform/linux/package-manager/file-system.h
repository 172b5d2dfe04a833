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

// errno's reason, naming the file.
std::system_error FileError(const std::string& path);

// The functions below throw FileError.

void WriteAll(int fd, const char* bytes, size_t size, const std::string& path);

// Puts a folder's list of names onto the disk.
void SyncFolder(const std::string& path);

void MakeFolder(const std::string& path);
void Rename(const std::string& from, const std::string& to);

// With everything in it, at any depth, and with folders that the owner may not change. Follows no
// links, and needs the same few descriptors for every tree. A missing one is no error.
void RemoveTree(const std::string& path);

// Names only; empty for a missing folder.
std::vector<std::string> NamesIn(const std::string& path);

}  // namespace platform

#endif
