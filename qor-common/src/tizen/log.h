// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_LOG_H_
#define TIZEN_LOG_H_

namespace tizen {

inline constexpr char kLogTag[] = "QOR-HANDLER-MANAGER-API";

// Last component of a path; at compile time for __FILE__.
constexpr const char* BaseName(const char* path) {
  const char* name = path;
  for (const char* at = path; *at != '\0'; ++at) {
    if (*at == '/') name = at + 1;
  }
  return name;
}

}  // namespace tizen

#endif
