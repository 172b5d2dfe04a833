// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_BASE_PROCESS_H_
#define QOR_TOOLS_BASE_PROCESS_H_

#include <chrono>
#include <string>
#include <vector>

namespace tools {

struct ProcessResult {
  // -1 when a signal ended the process or it exceeded the limit.
  int exit_status = -1;
  std::string output;
  std::string errors;
};

// Returns `argument` in single quotes, as one word of a POSIX shell.
std::string ShellQuote(const std::string& argument);

// Returns a shell command that executes a program with its arguments in place of the shell.
std::string CommandLine(const std::vector<std::string>& arguments);

// Runs a program while the main loop runs, and kills it when the limit expires. `arguments` begin
// with the program.
ProcessResult RunProcess(const std::vector<std::string>& arguments,
                         std::chrono::duration<double> limit);

}  // namespace tools

#endif
