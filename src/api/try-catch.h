// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_TRY_CATCH_H_
#define QOR_SRC_API_TRY_CATCH_H_

#include <functional>

namespace api {

// Runs the body of a C function and returns what it returns; an exception becomes the return code
// that stands for it. The only report is that code: nothing is logged.
int TryCatch(const std::function<int()>& body);

}  // namespace api

#endif
