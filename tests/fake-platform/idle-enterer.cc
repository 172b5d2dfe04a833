// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include "state.h"

using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::IdleEnterer;

namespace {

Ecore_Idle_Enterer* Add(Ecore_Task_Cb callback, const void* data, bool is_first,
                        const char* function) {
  const FunctionCall call(function);
  if (call.error != 0 || callback == nullptr) return nullptr;
  auto enterer = std::make_shared<IdleEnterer>();
  enterer->is_first = is_first;
  enterer->process = GetState().process;
  enterer->callback = callback;
  enterer->data = const_cast<void*>(data);
  return static_cast<Ecore_Idle_Enterer*>(GetState().idle_enterers.Add(enterer));
}

void Run(bool are_first) {
  auto& table = GetState().idle_enterers;
  for (const auto& [handle, enterer] : table.All()) {
    // An earlier one may have deleted it.
    if (enterer->is_first != are_first || table.Find(handle) == nullptr) continue;
    const fake::ProcessScope process(enterer->process);
    if (fake::internal::CallBack(enterer->callback, enterer->data) == EINA_FALSE) {
      table.Remove(handle);
    }
  }
}

}  // namespace

extern "C" {

Ecore_Idle_Enterer* ecore_idle_enterer_add(Ecore_Task_Cb func, const void* data) {
  return Add(func, data, false, __func__);
}

Ecore_Idle_Enterer* ecore_idle_enterer_before_add(Ecore_Task_Cb func, const void* data) {
  return Add(func, data, true, __func__);
}

void* ecore_idle_enterer_del(Ecore_Idle_Enterer* handle) {
  const FunctionCall call(__func__);
  const auto enterer = fake::internal::Find(GetState().idle_enterers, handle, __func__);
  if (call.error != 0 || !enterer) return nullptr;
  GetState().idle_enterers.Remove(handle);
  return enterer->data;
}

}  // extern "C"

namespace fake {

void RunIdleEnterers() {
  Run(true);
  Run(false);
}

}  // namespace fake
