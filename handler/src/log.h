// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_LOG_H_
#define QOR_HANDLER_SRC_LOG_H_

#include <dlog.h>

namespace qor::internal {

// The tag of every log line of the SDK.
inline constexpr char kLogTag[] = "QOR-HANDLER";

}  // namespace qor::internal

#endif
