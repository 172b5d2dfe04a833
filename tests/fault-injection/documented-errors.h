// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAULT_INJECTION_DOCUMENTED_ERRORS_H_
#define TESTS_FAULT_INJECTION_DOCUMENTED_ERRORS_H_

#include <string>
#include <vector>

namespace fault_injection {

// Returns the errors that the platform documents for a function; empty when it cannot fail. Throws
// std::out_of_range for a function that is not listed: add new platform calls of the library here.
const std::vector<int>& DocumentedErrors(const std::string& function);

}  // namespace fault_injection

#endif
