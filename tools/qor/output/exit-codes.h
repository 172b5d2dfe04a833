// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_EXIT_CODES_H_
#define QOR_TOOLS_QOR_OUTPUT_EXIT_CODES_H_

namespace tools::cli {

// Exit statuses of the tool.
enum ExitCode {
  kSuccess = 0,
  kError = 1,
  kUsage = 2,
  kHandlerFailed = 3,
  kNoAnswer = 4,
  kNoHandler = 5,
  kLaunchFailed = 6,
};

struct ExitCodeDescription {
  ExitCode code;
  const char* description;
};

// For the help and the manual page.
inline constexpr ExitCodeDescription kExitCodeDescriptions[] = {
    {kSuccess, "success"},
    {kError, "any other error"},
    {kUsage, "usage error"},
    {kHandlerFailed, "the handler returned an error"},
    {kNoAnswer, "the handler did not connect or answer by the deadline"},
    {kNoHandler, "no handler serves the request type"},
    {kLaunchFailed, "the handler could not be launched, or exited before it connected"},
};

}  // namespace tools::cli

#endif
