// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_LOGS_LAST_END_H_
#define QOR_TOOLS_QOR_LOGS_LAST_END_H_

#include <optional>
#include <string>

#include "platform/linux/common/process-end.h"

namespace tools::cli {

// Returns the end and how long ago it was: "exited with status 127: libfoo.so.0 not found (2 s
// ago)". Safe for display.
std::string DescribeWithAge(const platform::ProcessEnd& end);

// Returns how the last process of an application ended, unless its exit status was 0.
std::optional<platform::ProcessEnd> FindLastFailure(const std::string& app_id);

}  // namespace tools::cli

#endif
