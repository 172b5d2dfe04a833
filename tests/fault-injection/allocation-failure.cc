// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "allocation-failure.h"

namespace fault_injection {

namespace {

struct Counter {
  bool armed = false;
  bool failed = false;
  long to_go = 0;
  bool (*counts)() = nullptr;
};

thread_local Counter counter;

}  // namespace

bool MustAllocationFail() {
  if (!counter.armed || !counter.counts()) return false;
  if (--counter.to_go > 0) return false;
  counter.armed = false;
  counter.failed = true;
  return true;
}

AllocationFailure::AllocationFailure(long nth, bool (*counts)()) {
  counter = {};
  counter.to_go = nth;
  counter.counts = counts;
}

AllocationFailure::~AllocationFailure() { counter = {}; }

void AllocationFailure::Arm() { counter.armed = true; }

bool AllocationFailure::HasFailed() const { return counter.failed; }

}  // namespace fault_injection
