// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_IDS_H_
#define PLATFORM_LINUX_COMMON_IDS_H_

#include <cstddef>
#include <string>

namespace platform {

// Ids become names of files and sockets below the root: letters, digits, '.', '-' and '_', no dot
// at the beginning.

// The beginning of the ids of processes that are not installed applications. No application id may
// begin with it, in upper or lower case: the application would get the files of such a process.
inline constexpr char kHostPrefix[] = "host.";
bool HasHostPrefix(const std::string& id);

// Shorter than 50 characters.
bool IsPackageId(const std::string& text);
// Shorter than 80 characters: a socket address has 108 bytes.
bool IsApplicationId(const std::string& text);
// The name after kHostPrefix, which a process may choose: at most 64 characters.
bool IsHostName(const std::string& text);

}  // namespace platform

#endif
