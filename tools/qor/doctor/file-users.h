// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_DOCTOR_FILE_USERS_H_
#define QOR_TOOLS_QOR_DOCTOR_FILE_USERS_H_

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>

namespace tools::cli {

// A process that has the file open, among those that this user may look at. A held lock means that
// there is one.
std::optional<pid_t> UserOfFile(const std::string& path);

// The names, without their folders, of all Unix sockets on which somebody listens.
std::set<std::string> ListeningSocketNames();

}  // namespace tools::cli

#endif
