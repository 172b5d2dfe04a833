// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_common.h>
#include <tizen.h>

#include <cstdio>
#include <cstring>

#include "state.h"

namespace {

thread_local int last_result = TIZEN_ERROR_NONE;

// Two alternating buffers, so that a pointer from an earlier call never shows the current message,
// not even for the same error.
thread_local char messages[2][64];
thread_local int current_message = 0;

}  // namespace

extern "C" {

int get_last_result(void) { return last_result; }

void set_last_result(int err) { last_result = err; }

char* get_error_message(int err) {
  std::snprintf(messages[current_message], sizeof(messages[0]), "overwritten by a later call");
  current_message = 1 - current_message;
  std::snprintf(messages[current_message], sizeof(messages[0]), "fake error text of %d", err);
  return messages[current_message];
}

char* app_get_data_path(void) {
  const fake::internal::FunctionCall call(__func__);
  if (call.error != 0) {
    set_last_result(call.error);
    return nullptr;
  }
  set_last_result(TIZEN_ERROR_NONE);
  return strdup(fake::DataPath().c_str());
}

}  // extern "C"
