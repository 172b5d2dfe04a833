// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_ACCEPT_PAUSE_H_
#define PLATFORM_LINUX_COMMON_ACCEPT_PAUSE_H_

#include <Ecore.h>

namespace platform {

// Lets the handler of a listening socket rest for a second. A connection that cannot be accepted,
// for want of descriptors or memory, keeps the socket readable: going on would spin. Belongs to the
// main loop's thread.
class AcceptPause {
 public:
  AcceptPause() = default;
  AcceptPause(const AcceptPause&) = delete;
  AcceptPause& operator=(const AcceptPause&) = delete;
  ~AcceptPause() { Stop(); }

  void Start(Ecore_Fd_Handler* handler) {
    Stop();
    handler_ = handler;
    timer_ = ecore_timer_add(1.0, OnEnd, this);
    if (timer_ != nullptr) {
      ecore_main_fd_handler_active_set(handler_, static_cast<Ecore_Fd_Handler_Flags>(0));
    }
  }
  // The handler is about to be deleted.
  void Stop() {
    if (timer_ != nullptr) ecore_timer_del(timer_);
    timer_ = nullptr;
  }

 private:
  static Eina_Bool OnEnd(void* data) {
    auto* self = static_cast<AcceptPause*>(data);
    self->timer_ = nullptr;
    ecore_main_fd_handler_active_set(self->handler_, ECORE_FD_READ);
    return ECORE_CALLBACK_CANCEL;
  }

  Ecore_Fd_Handler* handler_ = nullptr;
  Ecore_Timer* timer_ = nullptr;
};

}  // namespace platform

#endif
