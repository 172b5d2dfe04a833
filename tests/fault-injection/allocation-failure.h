// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAULT_INJECTION_ALLOCATION_FAILURE_H_
#define TESTS_FAULT_INJECTION_ALLOCATION_FAILURE_H_

namespace fault_injection {

// Fails the nth allocation of this thread, once, counting only allocations for which `is_counted`
// returns true. One object at a time per thread. The program links either failing-new.cc (operator
// new) or failing-malloc.cc (malloc(), calloc() and realloc(), which operator new calls).
class AllocationFailure {
 public:
  AllocationFailure(long nth, bool (*is_counted)());
  AllocationFailure(const AllocationFailure&) = delete;
  AllocationFailure& operator=(const AllocationFailure&) = delete;
  ~AllocationFailure();

  // Starts counting.
  void Arm();
  // Returns whether the nth allocation has been reached.
  bool HasFailed() const;
};

// Counts an allocation and returns whether it must fail. Called by the replaced functions.
bool MustAllocationFail();

}  // namespace fault_injection

#endif
