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

struct ExitCodeMeaning {
  ExitCode code;
  const char* meaning;
};

// For the help and the manual page.
inline constexpr ExitCodeMeaning kExitCodeMeanings[] = {
    {kSuccess, "success"},
    {kError, "anything that is not one of the others"},
    {kUsage, "words that the tool does not understand"},
    {kHandlerFailed, "the handler failed the command"},
    {kTimeout, "the handler did not answer in time"},
    {kNotSupported, "no handler serves the request type"},
    {kLaunchFailed, "the handler could not be launched"},
};

}  // namespace tools::cli

#endif
