// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_TURNS_H_
#define QOR_BENCH_SUPPORT_TURNS_H_

#include <Ecore.h>
#include <time.h>

#include <algorithm>

namespace bench {

// The longest that the main loop worked before it looked at its descriptors again: time on the
// processor, because the attacker has its own share of the only core.
class Turns {
 public:
  Turns() {
    ecore_idle_exiter_add(
        [](void* self) -> Eina_Bool {
          static_cast<Turns*>(self)->start_ = Now();
          return ECORE_CALLBACK_RENEW;
        },
        this);
    ecore_idle_enterer_add(
        [](void* data) -> Eina_Bool {
          auto* self = static_cast<Turns*>(data);
          const double now = Now();
          self->longest_ = std::max(self->longest_, now - self->start_);
          self->start_ = now;
          return ECORE_CALLBACK_RENEW;
        },
        this);
  }
  void Begin() {
    start_ = Now();
    longest_ = 0;
  }
  // In milliseconds.
  double Longest() const { return longest_; }

 private:
  static double Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
  }

  double start_ = 0;
  double longest_ = 0;
};

}  // namespace bench

#endif
