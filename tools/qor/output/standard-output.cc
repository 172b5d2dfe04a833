// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/standard-output.h"

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <string>
#include <system_error>

#include "qor/output/tool-error.h"

namespace tools::cli {

void FlushStandardOutput() {
  const bool has_failed = !std::cout;
  if (!has_failed && std::cout.flush()) return;
  // The streams do not keep the cause of an earlier failure; another write fails for it again.
  if (has_failed && write(STDOUT_FILENO, "\n", 1) == 1) errno = 0;
  const std::string cause = errno != 0 ? ": " + std::generic_category().message(errno) : "";
  throw ToolError(kError, "cannot write standard output" + cause);
}

}  // namespace tools::cli
