// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_EXCEPTION_H_
#define TIZEN_EXCEPTION_H_

#include <stdexcept>
#include <string>

namespace tizen {

// The error of a platform call. The message consists of the given text and the platform's error
// message.
class Exception : public std::runtime_error {
 public:
  Exception(const std::string& message, int error);
};

// Throws Exception unless `result` is 0; `what` is the name of the call.
void ThrowOnError(int result, const char* what);

}  // namespace tizen

#endif
