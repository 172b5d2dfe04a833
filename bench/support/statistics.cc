// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/statistics.h"

#include <algorithm>
#include <functional>

namespace bench {

namespace {

double Quantile(const Samples& sorted, double fraction) {
  return sorted[static_cast<std::size_t>(fraction * static_cast<double>(sorted.size() - 1))];
}

Samples Combine(const Samples& left, const Samples& right,
                const std::function<double(double, double)>& operation) {
  Samples results;
  std::transform(left.begin(), left.end(), right.begin(), std::back_inserter(results), operation);
  return results;
}

}  // namespace

double Median(Samples samples) { return SpreadOf(std::move(samples)).median; }

Spread SpreadOf(Samples samples) {
  std::sort(samples.begin(), samples.end());
  return {Quantile(samples, 0.5), Quantile(samples, 0.1), Quantile(samples, 0.9)};
}

Samples Quotients(const Samples& dividends, const Samples& divisors) {
  return Combine(dividends, divisors, std::divides<>());
}

Samples Differences(const Samples& minuends, const Samples& subtrahends) {
  return Combine(minuends, subtrahends, std::minus<>());
}

}  // namespace bench
