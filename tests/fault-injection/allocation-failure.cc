// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "allocation-failure.h"

namespace fault_injection {

namespace {

struct Counter {
  bool armed = false;
  bool failed = false;
  long remaining = 0;
  bool (*is_counted)() = nullptr;
};

thread_local Counter counter;

}  // namespace

bool MustAllocationFail() {
  if (!counter.armed || !counter.is_counted()) return false;
  if (--counter.remaining > 0) return false;
  counter.armed = false;
  counter.failed = true;
  return true;
}

AllocationFailure::AllocationFailure(long nth, bool (*is_counted)()) {
  counter = {};
  counter.remaining = nth;
  counter.is_counted = is_counted;
}

AllocationFailure::~AllocationFailure() { counter = {}; }

void AllocationFailure::Arm() { counter.armed = true; }

bool AllocationFailure::HasFailed() const { return counter.failed; }

}  // namespace fault_injection
