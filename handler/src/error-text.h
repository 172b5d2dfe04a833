// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_ERROR_TEXT_H_
#define QOR_HANDLER_SRC_ERROR_TEXT_H_

#include <qor/handler.h>

#include <string>

namespace qor::internal {

// The JSON error object of this library. A description that is not UTF-8 is replaced.
std::string ErrorText(ErrorCode code, const std::string& description);

}  // namespace qor::internal

#endif
