// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SWEEP_ALLOCATION_FAILURE_H_
#define TESTS_SWEEP_ALLOCATION_FAILURE_H_

namespace sweep {

// While one lives, the nth allocation with operator new that this thread makes in the code under
// test fails, once. What the test and the platform allocate does not count.
class AllocationFailure {
 public:
  explicit AllocationFailure(long nth);
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
