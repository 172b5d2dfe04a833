// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PAYLOAD_H_
#define QOR_TOOLS_QOR_PAYLOAD_H_

#include <string>

namespace qor {

// The payload that a word of the command line stands for: "-" standard input to its end, "@file"
// the file's content, anything else itself. A payload that is not empty and not JSON is warned of
// on standard error, or refused when `strict`. Throws Failure; also for a payload that cannot be
// sent, because a NUL byte would end it.
std::string ReadPayload(const std::string& word, bool strict);

}  // namespace qor

#endif
