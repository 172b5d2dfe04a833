// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <tizen.h>

namespace {

thread_local int last_result = TIZEN_ERROR_NONE;

}  // namespace

EXPORT_API int get_last_result(void) { return last_result; }

EXPORT_API void set_last_result(int err) { last_result = err; }
