// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_ITERATION_METER_H_
#define QOR_BENCH_SUPPORT_ITERATION_METER_H_

#include <Ecore.h>
#include <time.h>

#include <algorithm>

namespace bench {

// Measures the longest iteration of the main loop: the CPU time between two polls. Not wall time,
// because the other processes share the core.
class IterationMeter {
 public:
  IterationMeter() {
    ecore_idle_exiter_add(
        [](void* self) -> Eina_Bool {
          static_cast<IterationMeter*>(self)->start_ms_ = Now();
          return ECORE_CALLBACK_RENEW;
        },
        this);
    ecore_idle_enterer_add(
        [](void* data) -> Eina_Bool {
          auto* self = static_cast<IterationMeter*>(data);
          const double now = Now();
          self->max_ms_ = std::max(self->max_ms_, now - self->start_ms_);
          self->start_ms_ = now;
          return ECORE_CALLBACK_RENEW;
        },
        this);
  }
  void Start() {
    start_ms_ = Now();
    max_ms_ = 0;
  }
  double MaxMs() const { return max_ms_; }

 private:
  static double Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
  }

  double start_ms_ = 0;
  double max_ms_ = 0;
};

}  // namespace bench

#endif
