// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_LEAK_CHECK_H_
#define TESTS_CHAOS_LEAK_CHECK_H_

#include <string>
#include <vector>

namespace chaos {

// Describes everything below a platform's root that must not exist after all packages have been
// uninstalled and all processes have exited: sockets, held locks, files of packages, their data,
// staged files, and processes.
std::vector<std::string> FindLeaks(const std::string& root);

}  // namespace chaos

#endif
