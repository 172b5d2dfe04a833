// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_EXECUTABLE_H_
#define QOR_TOOLS_INSPECT_EXECUTABLE_H_

#include <optional>
#include <string>

#include "inspect/finding.h"

namespace tools::inspect {

// Returns why an executable file cannot be started as an application on this machine: a script, a
// program for another machine, without its dynamic loader, or without a shared library. Nothing
// when no reason is found. Only message and hint are set.
//
// Libraries are resolved by this machine's dynamic loader, with this process's environment. It runs
// as a process, executes nothing of the program, and is not asked about programs that name another
// loader.
std::optional<Finding> FindExecutableProblem(const std::string& path);

}  // namespace tools::inspect

#endif
