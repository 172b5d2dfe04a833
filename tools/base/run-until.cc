// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "base/run-until.h"

#include <Ecore.h>

namespace tools {

void RunUntil(const std::function<bool()>& condition) {
  if (condition()) return;
  // Idle enterers run when the loop has handled all events and is about to wait.
  Ecore_Idle_Enterer* watch = ecore_idle_enterer_add(
      [](void* data) -> Eina_Bool {
        if ((*static_cast<const std::function<bool()>*>(data))()) ecore_main_loop_quit();
        return ECORE_CALLBACK_RENEW;
      },
      &condition);
  ecore_main_loop_begin();
  ecore_idle_enterer_del(watch);
}

bool RunUntil(const std::function<bool()>& condition, std::chrono::duration<double> limit) {
  bool is_over = false;
  Ecore_Timer* timer = ecore_timer_add(
      limit.count(),
      [](void* data) -> Eina_Bool {
        *static_cast<bool*>(data) = true;
        return ECORE_CALLBACK_RENEW;
      },
      &is_over);
  RunUntil([&] { return is_over || condition(); });
  ecore_timer_del(timer);
  return condition();
}

}  // namespace tools
