// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/loop.h"

#include <Ecore.h>

namespace platform::test {
namespace {

constexpr double kLimitSeconds = 30.0;

// Called when the loop is about to sleep, after all pending events were handled.
Eina_Bool QuitIf(void* data) {
  if ((*static_cast<const std::function<bool()>*>(data))()) ecore_main_loop_quit();
  return ECORE_CALLBACK_RENEW;
}

Eina_Bool GiveUp(void* data) {
  *static_cast<bool*>(data) = true;
  ecore_main_loop_quit();
  return ECORE_CALLBACK_RENEW;
}

}  // namespace

void StartEcore() {
  static const int count = ecore_init();
  static_cast<void>(count);
}

bool RunLoopUntil(const std::function<bool()>& condition) {
  bool is_late = false;
  StartEcore();
  Ecore_Idle_Enterer* enterer = ecore_idle_enterer_add(&QuitIf, &condition);
  Ecore_Timer* limit = ecore_timer_add(kLimitSeconds, &GiveUp, &is_late);
  ecore_main_loop_begin();
  ecore_timer_del(limit);
  ecore_idle_enterer_del(enterer);
  return !is_late;
}

void RunLoopDry() {
  int passes = 0;
  // An expired timer starts another iteration after the descriptors were polled.
  const auto again = [](void*) { return ECORE_CALLBACK_RENEW; };
  StartEcore();
  Ecore_Timer* timer = ecore_timer_add(0.0, again, nullptr);
  RunLoopUntil([&passes] { return ++passes > 50; });
  ecore_timer_del(timer);
}

}  // namespace platform::test
