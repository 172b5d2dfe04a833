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

// Takes the time of a slice from its start on.
class Meter {
 public:
  explicit Meter(const Slice& slice) : slice_(slice) { laps_.reserve(slice.count); }

  // A round trip has come to its end.
  void Lap() { laps_.push_back(watch_.Lap()); }

  Cost Finish() const {
    const auto count = static_cast<double>(slice_.count);
    double sum = 0;
    for (const double lap : laps_) sum += lap;
    Cost cost;
    cost.wall = slice_.in_flight == 1 ? Median(laps_) : sum / count;
    cost.own_cpu = (CpuTimeOf(getpid()) - own_cpu_) / count;
    cost.cpu = (CpuTimeOfFamily() - cpu_) / count;
    cost.resident = OwnMemory();
    return cost;
  }

 private:
  Slice slice_;
  Samples laps_;
  double cpu_ = CpuTimeOfFamily();
  double own_cpu_ = CpuTimeOf(getpid());
  Stopwatch watch_;
};

}  // namespace bench

#endif
