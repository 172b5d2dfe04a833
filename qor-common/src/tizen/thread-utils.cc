// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/thread-utils.h"

#include <Ecore.h>

#include <exception>

namespace tizen {

namespace {

struct Call {
  const std::function<void()>& closure;
  std::exception_ptr error;
};

// The main loop is C code: exceptions must not unwind through it.
void* Run(void* data) {
  auto* call = static_cast<Call*>(data);
  try {
    call->closure();
  } catch (...) {
    call->error = std::current_exception();
  }
  return nullptr;
}

}  // namespace

void ThreadUtils::InvokeOnMainThreadSync(const std::function<void()>& closure) {
  Call call{closure, nullptr};
  ecore_main_loop_thread_safe_call_sync(Run, &call);
  if (call.error) std::rethrow_exception(call.error);
}

bool ThreadUtils::IsMainThread() { return eina_main_loop_is() != EINA_FALSE; }

}  // namespace tizen
