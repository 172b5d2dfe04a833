// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include <chrono>
#include <future>

#include "state.h"

using fake::internal::CallBack;
using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::State;

namespace {

void Queue(std::function<void()> call) {
  State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.queue_mutex);
  state.queue.push_back(std::move(call));
  state.queue_changed.notify_all();
}

}  // namespace

extern "C" {

int ecore_init(void) {
  const FunctionCall call(__func__);
  State& state = GetState();
  // Only the first initialization can fail.
  if (state.ecore_init_count == 0 && call.error != 0) return 0;
  return ++state.ecore_init_count;
}

int ecore_shutdown(void) {
  const FunctionCall call(__func__);
  State& state = GetState();
  if (state.ecore_init_count == 0) {
    fake::internal::AddUsageError("ecore_shutdown: not initialized");
    return 0;
  }
  if (--state.ecore_init_count == 0) {
    // Unlike after Clear(), using one of these handles is an error.
    for (const auto& [handle, timer] : state.timers.All()) state.timers.Remove(handle);
  }
  return state.ecore_init_count;
}

Eina_Bool eina_main_loop_is(void) {
  return std::this_thread::get_id() == GetState().main_thread ? EINA_TRUE : EINA_FALSE;
}

void* ecore_main_loop_thread_safe_call_sync(Ecore_Data_Cb callback, void* data) {
  const FunctionCall call(__func__);
  if (eina_main_loop_is()) return CallBack(callback, data);
  std::promise<void*> done;
  Queue([&] { done.set_value(CallBack(callback, data)); });
  return done.get_future().get();
}

void ecore_main_loop_thread_safe_call_async(Ecore_Cb callback, void* data) {
  const FunctionCall call(__func__);
  if (eina_main_loop_is()) {
    CallBack(callback, data);
  } else {
    Queue([callback, data] { CallBack(callback, data); });
  }
}

}  // extern "C"

namespace fake {

int LoopUsers() { return GetState().ecore_init_count; }

bool RunUntil(const std::function<bool()>& condition) {
  State& state = GetState();
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    std::function<void()> call;
    {
      std::unique_lock<std::mutex> lock(state.queue_mutex);
      // Polls, because the condition may change without a queued call.
      state.queue_changed.wait_for(lock, std::chrono::milliseconds(5),
                                   [&state] { return !state.queue.empty(); });
      if (state.queue.empty()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        continue;
      }
      call = std::move(state.queue.front());
      state.queue.pop_front();
    }
    call();
  }
  return true;
}

}  // namespace fake
