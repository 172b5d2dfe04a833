// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAULT_INJECTION_ALLOCATION_FAILURE_H_
#define TESTS_FAULT_INJECTION_ALLOCATION_FAILURE_H_

namespace fault_injection {

// While one lives, the nth allocation that this thread makes fails, once, of those made while
// `counts` says so. What an allocation is depends on what the program links: operator new
// (failing-new.cc), or malloc(), calloc() and realloc(), which operator new calls
// (failing-malloc.cc).
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

// Called for each allocation: counts it and returns whether it is the one to fail.
bool MustAllocationFail();

}  // namespace fault_injection

#endif
