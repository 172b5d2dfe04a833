// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_EXIT_CODES_H_
#define QOR_TOOLS_QOR_EXIT_CODES_H_

namespace qor {

// Exit statuses of the tool.
enum ExitCode {
  kSuccess = 0,
  kError = 1,
  kUsage = 2,
  kHandlerFailed = 3,
  kTimeout = 4,
  kNotSupported = 5,
  kLaunchRefused = 6,
};

}  // namespace qor

#endif
