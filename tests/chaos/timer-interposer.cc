// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "timer-interposer.h"

#include <Ecore.h>
#include <dlfcn.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <utility>

namespace chaos {

namespace {

struct Timer {
  Ecore_Timer* handle;
  Ecore_Task_Cb callback;
  void* data;
};

struct Watch {
  std::function<void(int)> on_fired;
  int last_number = 0;
  std::map<int, Timer> timers;
  std::map<Ecore_Timer*, int> numbers;
};

// Never destroyed: destructors of static objects may delete timers.
Watch& TheWatch() {
  static Watch& watch = *new Watch;
  return watch;
}

bool IsTheLibrarys(Ecore_Task_Cb callback) {
  constexpr char kLibrary[] = "libcapi-qor-handler-manager.so";
  Dl_info info{};
  return dladdr(reinterpret_cast<void*>(callback), &info) != 0 &&
         std::strstr(info.dli_fname, kLibrary) != nullptr;
}

void Forget(int number) {
  const auto found = TheWatch().timers.find(number);
  if (found == TheWatch().timers.end()) return;
  TheWatch().numbers.erase(found->second.handle);
  TheWatch().timers.erase(found);
}

Eina_Bool OnFired(void* number_as_data) {
  const int number = static_cast<int>(reinterpret_cast<std::intptr_t>(number_as_data));
  const Timer timer = TheWatch().timers.at(number);
  if (TheWatch().on_fired) TheWatch().on_fired(number);
  const Eina_Bool renew = timer.callback(timer.data);
  if (renew == ECORE_CALLBACK_CANCEL) Forget(number);
  return renew;
}

template <typename Function>
Function* Real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void SetTimerFiredCallback(std::function<void(int)> on_fired) {
  TheWatch().on_fired = std::move(on_fired);
}

}  // namespace chaos

// Executables come first in symbol lookup, so these precede the main loop's functions.

__attribute__((visibility("default"))) Ecore_Timer* ecore_timer_add(double seconds,
                                                                    Ecore_Task_Cb callback,
                                                                    const void* data) {
  static const auto real = chaos::Real<decltype(ecore_timer_add)>("ecore_timer_add");
  if (!chaos::IsTheLibrarys(callback)) return real(seconds, callback, data);
  chaos::Watch& watch = chaos::TheWatch();
  const int number = ++watch.last_number;
  Ecore_Timer* handle =
      real(seconds, chaos::OnFired, reinterpret_cast<void*>(static_cast<std::intptr_t>(number)));
  if (handle == nullptr) return nullptr;
  watch.timers[number] = {handle, callback, const_cast<void*>(data)};
  watch.numbers[handle] = number;
  return handle;
}

__attribute__((visibility("default"))) void* ecore_timer_del(Ecore_Timer* handle) {
  static const auto real = chaos::Real<decltype(ecore_timer_del)>("ecore_timer_del");
  const auto found = chaos::TheWatch().numbers.find(handle);
  if (found == chaos::TheWatch().numbers.end()) return real(handle);
  const int number = found->second;
  void* const data = chaos::TheWatch().timers.at(number).data;
  chaos::Forget(number);
  real(handle);
  return data;
}
