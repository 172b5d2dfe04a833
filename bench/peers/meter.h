// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_METER_H_
#define QOR_BENCH_PEERS_METER_H_

#include <unistd.h>

#include "peers/peer.h"
#include "support/cpu-time.h"
#include "support/memory.h"
#include "support/statistics.h"

namespace bench {

// Measures the time of a workload, starting at construction.
class Meter {
 public:
  explicit Meter(const Workload& workload) : workload_(workload) { laps_.reserve(workload.count); }

  // Call at the end of each round trip.
  void Lap() { laps_.push_back(watch_.Lap()); }

  Cost Finish() const {
    const auto count = static_cast<double>(workload_.count);
    double sum = 0;
    for (const double lap : laps_) sum += lap;
    Cost cost;
    cost.wall = workload_.in_flight == 1 ? Median(laps_) : sum / count;
    cost.own_cpu = (CpuTimeOf(getpid()) - own_cpu_) / count;
    cost.cpu = (CpuTimeOfProcessTree() - cpu_) / count;
    cost.resident = OwnMemory();
    return cost;
  }

 private:
  Workload workload_;
  Samples laps_;
  double cpu_ = CpuTimeOfProcessTree();
  double own_cpu_ = CpuTimeOf(getpid());
  Stopwatch watch_;
};

}  // namespace bench

#endif
