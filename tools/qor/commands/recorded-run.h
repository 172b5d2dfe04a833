// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_RECORDED_RUN_H_
#define QOR_TOOLS_QOR_COMMANDS_RECORDED_RUN_H_

#include <string>
#include <vector>

namespace tools::cli {

// Runs a program with the preloaded recorder, which writes events to `file`, and waits until it
// exits. `arguments` begin with the program, which is searched in PATH. The program inherits the
// standard streams; SIGTERM and SIGHUP are forwarded to it. Returns its exit status, or 128 plus
// the number of the signal that ended it. Throws ToolError when it cannot be run.
int RunRecorded(const std::vector<std::string>& arguments, const std::string& file);

}  // namespace tools::cli

#endif
