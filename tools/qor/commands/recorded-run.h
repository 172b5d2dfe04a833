// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_RECORDED_RUN_H_
#define QOR_TOOLS_QOR_COMMANDS_RECORDED_RUN_H_

#include <string>
#include <vector>

namespace tools::cli {

// Runs a program with the recorder in it, which writes to `file`, and waits for its end. `words`
// begin with the program, which is searched for as a shell does. It has this process's standard
// streams; signals that ask this process to end are passed on to it. Returns its exit status, 128
// and the signal's number when a signal ended it. Throws ToolError when it cannot be run.
int RunRecorded(const std::vector<std::string>& words, const std::string& file);

}  // namespace tools::cli

#endif
