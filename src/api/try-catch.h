// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_TRY_CATCH_H_
#define QOR_SRC_API_TRY_CATCH_H_

#include <functional>
#include <type_traits>

namespace api {

// The exception guard of the C interface. Runs the body of a C function and returns its result, or
// the return code of the exception that it throws. Logs nothing.
int TryCatch(const std::function<int()>& body);

// Does the same without copying `body`: the copy could run out of memory outside of the guard.
template <typename Body, typename = std::enable_if_t<std::is_invocable_r_v<int, const Body&>>>
int TryCatch(const Body& body) {
  return TryCatch(std::function<int()>(std::ref(body)));
}

}  // namespace api

#endif
