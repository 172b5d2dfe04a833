// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_AGENT_PROCESS_H_
#define QOR_TOOLS_AGENT_PROCESS_H_

#include <string>
#include <vector>

namespace tools {

struct ProcessResult {
  // -1 when the process did not end by itself in time.
  int exit_status = -1;
  std::string output;
  std::string errors;
};

// A program and its arguments as a shell takes them, which the program replaces.
std::string CommandLine(const std::vector<std::string>& arguments);

// Runs a program to its end while the main loop goes on. `arguments` begin with the program.
ProcessResult RunProcess(const std::vector<std::string>& arguments, double limit_seconds);

}  // namespace tools

#endif
