// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_IDS_H_
#define PLATFORM_LINUX_COMMON_IDS_H_

#include <cstddef>
#include <string>

namespace platform {

// Ids become names of files and sockets below the root: letters, digits, '.', '-' and '_', not
// beginning with a dot.

// With what the id of a process begins that is no installed application. No application's does, in
// any case: it would get the files of such a process.
inline constexpr char kHostPrefix[] = "host.";
bool HasHostPrefix(const std::string& id);

// Shorter than 50 characters.
bool IsPackageId(const std::string& text);
// Shorter than 80 characters, since socket addresses are short.
bool IsApplicationId(const std::string& text);
// What follows kHostPrefix where a process names itself: at most 64 characters.
bool IsHostName(const std::string& text);

}  // namespace platform

#endif
