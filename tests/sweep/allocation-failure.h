// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SWEEP_ALLOCATION_FAILURE_H_
#define TESTS_SWEEP_ALLOCATION_FAILURE_H_

namespace sweep {

// While one lives, the nth allocation with operator new that this thread makes fails, once, of
// those made while `counts` says so.
class AllocationFailure {
 public:
  AllocationFailure(long nth, bool (*counts)());
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;
  ~AllocationFailure();

  // Lets the counting begin.
  void Arm();
  // Whether there were as many allocations.
  bool HasFailed() const;
};

}  // namespace sweep

#endif
