// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_PAYLOAD_H_
#define QOR_TOOLS_QOR_COMMANDS_PAYLOAD_H_

#include <string>

namespace tools::cli {

// Returns the payload that an argument names: "-" standard input to its end, "@file" the file's
// content, anything else itself. Warns on standard error about a payload that is neither empty nor
// JSON; throws ToolError instead when `strict`. Also throws for a payload with a NUL byte, which
// would cut it short, and for files that cannot be read.
std::string ReadPayload(const std::string& argument, bool strict);

}  // namespace tools::cli

#endif
