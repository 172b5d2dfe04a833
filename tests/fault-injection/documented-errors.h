// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAULT_INJECTION_DOCUMENTED_ERRORS_H_
#define TESTS_FAULT_INJECTION_DOCUMENTED_ERRORS_H_

#include <string>
#include <vector>

namespace fault_injection {

// The errors with which a platform function is known to fail; empty for one that cannot fail.
// Throws std::out_of_range for a function that the library is not known to call.
const std::vector<int>& DocumentedErrors(const std::string& function);

}  // namespace fault_injection

#endif
