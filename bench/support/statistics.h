// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_STATISTICS_H_
#define QOR_BENCH_SUPPORT_STATISTICS_H_

#include <chrono>
#include <vector>

namespace bench {

using Samples = std::vector<double>;

struct Spread {
  double median = 0;
  double p10 = 0;
  double p90 = 0;
};

double Median(Samples samples);
Spread SpreadOf(Samples samples);

// Both combine samples of the same round, which were measured close in time.
Samples Quotients(const Samples& dividends, const Samples& divisors);
Samples Differences(const Samples& minuends, const Samples& subtrahends);

class Stopwatch {
 public:
  // Returns the microseconds since the last call or construction.
  double Lap() {
    const auto now = std::chrono::steady_clock::now();
    const std::chrono::duration<double, std::micro> lap = now - last_;
    last_ = now;
    return lap.count();
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace bench

#endif
