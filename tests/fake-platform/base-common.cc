// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_common.h>
#include <tizen.h>

#include <cstdio>
#include <cstring>

#include "state.h"

namespace {

thread_local int last_result = TIZEN_ERROR_NONE;
thread_local char message[64];

}  // namespace

extern "C" {

int get_last_result(void) { return last_result; }

void set_last_result(int err) { last_result = err; }

char* get_error_message(int err) {
  std::snprintf(message, sizeof(message), "fake error text of %d", err);
  return message;
}

char* app_get_data_path(void) {
  const fake::internal::Entry entry(__func__);
  if (entry.error != 0) {
    set_last_result(entry.error);
    return nullptr;
  }
  set_last_result(TIZEN_ERROR_NONE);
  return strdup(fake::DataPath().c_str());
}

}  // extern "C"
