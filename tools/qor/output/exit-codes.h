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
  kTimeout = 4,
  kNotSupported = 5,
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
    {kTimeout, "the handler did not connect or answer in time"},
    {kNotSupported, "no handler serves the request type"},
    {kLaunchFailed, "the handler could not be launched"},
};

}  // namespace tools::cli

#endif
