// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_TIMEOUT_OPTIONS_H_
#define QOR_TOOLS_QOR_COMMANDS_TIMEOUT_OPTIONS_H_

#include <CLI/CLI.hpp>

#include <vector>

#include "base/timeouts.h"

namespace tools::cli {

// Adds --execution-timeout and --connection-timeout, in milliseconds. `timeouts` holds the defaults
// and must outlive the parsing.
std::vector<CLI::Option*> AddTimeoutOptions(CLI::App& command, Timeouts& timeouts);

}  // namespace tools::cli

#endif
