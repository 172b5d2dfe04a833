// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_COPY_TEXT_H_
#define PLATFORM_LINUX_COMMON_COPY_TEXT_H_

#include <tizen_error.h>

#include <cstring>
#include <string>

namespace platform {

// Sets `*out` to a copy of the text, which the caller of the C interface releases with free().
// Returns TIZEN_ERROR_NONE, or TIZEN_ERROR_OUT_OF_MEMORY and sets null. These two codes are the
// same in every interface.
inline int CopyText(const std::string& text, char** out) {
  *out = strdup(text.c_str());
  return *out != nullptr ? TIZEN_ERROR_NONE : TIZEN_ERROR_OUT_OF_MEMORY;
}

}  // namespace platform

#endif
