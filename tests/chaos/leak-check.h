// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_LEAK_CHECK_H_
#define TESTS_CHAOS_LEAK_CHECK_H_

#include <string>
#include <vector>

namespace chaos {

// What should not be below a platform's root when everything has been uninstalled and no process of
// it runs: sockets, locks that are held, packages, their data, files on their way; and processes.
// In words.
std::vector<std::string> FindLeaks(const std::string& root);

}  // namespace chaos

#endif
