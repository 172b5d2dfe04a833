// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_STANDARD_OUTPUT_H_
#define QOR_TOOLS_QOR_OUTPUT_STANDARD_OUTPUT_H_

namespace tools::cli {

// Writes what std::cout has buffered. Throws ToolError with the cause if that or an earlier write
// failed.
void FlushStandardOutput();

}  // namespace tools::cli

#endif
