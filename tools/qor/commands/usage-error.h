// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_USAGE_ERROR_H_
#define QOR_TOOLS_QOR_COMMANDS_USAGE_ERROR_H_

#include <CLI/CLI.hpp>

#include "qor/output/tool-error.h"

namespace tools::cli {

// Describes in one line why `tool` has rejected its command line: `error`, or the first argument
// that it does not know, with a similar name if there is one.
ToolError UsageErrorOf(const CLI::App& tool, const CLI::ParseError& error);

}  // namespace tools::cli

#endif
