// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_DOCTOR_FILE_USERS_H_
#define QOR_TOOLS_QOR_DOCTOR_FILE_USERS_H_

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>

namespace tools::cli {

// Returns a process that has the file open, among those that this user may inspect. The owner of a
// lock has its file open.
std::optional<pid_t> UserOfFile(const std::string& path);

// Returns the file names of all listening Unix sockets.
std::set<std::string> ListeningSocketNames();

}  // namespace tools::cli

#endif
