// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <chrono>

#include "peer.h"

namespace bench {

namespace {

double Now() {
  return std::chrono::duration<double, std::micro>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

Stopwatch::Stopwatch() : last_(Now()) {}

double Stopwatch::Lap() {
  const double now = Now();
  const double lap = now - last_;
  last_ = now;
  return lap;
}

}  // namespace bench
