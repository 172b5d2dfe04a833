// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/exception.h"

#include <tizen.h>

namespace tizen {

namespace {

std::string Describe(const std::string& message, int error) {
  const char* text = get_error_message(error);
  return message + ": " + (text != nullptr ? text : "") + " (" + std::to_string(error) + ")";
}

}  // namespace

Exception::Exception(const std::string& message, int error)
    : std::runtime_error(Describe(message, error)) {}

void ThrowOnError(int result, const char* what) {
  if (result != TIZEN_ERROR_NONE) throw Exception(what, result);
}

}  // namespace tizen
