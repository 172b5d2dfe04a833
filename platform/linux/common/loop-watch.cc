// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/loop-watch.h"

#include <stdexcept>

#include "platform/linux/common/c-boundary.h"

namespace platform {
namespace {

// Otherwise ecore_init(), by whichever module calls it, connects to a system bus that many machines
// do not have, and prints pages of errors.
__attribute__((constructor)) void DisableSystemModules() { ecore_app_no_system_modules(); }

}  // namespace

EcoreReference::EcoreReference() {
  if (ecore_init() == 1) ecore_init();
}

EcoreReference::~EcoreReference() { ecore_shutdown(); }

void LoopWatch::Update(bool reading, bool writing) {
  const int flags = (reading ? ECORE_FD_READ : 0) | (writing ? ECORE_FD_WRITE : 0);
  if (flags == flags_) return;
  if (flags == 0) {
    Remove();
    return;
  }
  const auto ecore_flags = static_cast<Ecore_Fd_Handler_Flags>(flags);
  if (handler_ != nullptr) {
    ecore_main_fd_handler_active_set(handler_, ecore_flags);
  } else {
    handler_ = ecore_main_fd_handler_add(fd_, ecore_flags, &OnFdReady, this, nullptr, nullptr);
    if (handler_ == nullptr) throw std::runtime_error("cannot add a descriptor to the main loop");
  }
  flags_ = flags;
}

void LoopWatch::Remove() {
  if (handler_ != nullptr) ecore_main_fd_handler_del(handler_);
  handler_ = nullptr;
  flags_ = 0;
}

Eina_Bool LoopWatch::OnFdReady(void* data, Ecore_Fd_Handler* handler) {
  const bool readable = ecore_main_fd_handler_active_get(handler, ECORE_FD_READ) != EINA_FALSE;
  const bool writable = ecore_main_fd_handler_active_get(handler, ECORE_FD_WRITE) != EINA_FALSE;
  kMainLoopBoundary.Run([&] {
    static_cast<LoopWatch*>(data)->observer_->OnReady(readable, writable);
    return TIZEN_ERROR_NONE;
  });
  return ECORE_CALLBACK_RENEW;
}

}  // namespace platform
