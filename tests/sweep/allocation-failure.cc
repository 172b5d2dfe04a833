// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "allocation-failure.h"

#include <cstdlib>
#include <new>

namespace {

struct Counter {
  bool armed = false;
  bool failed = false;
  long to_go = 0;
  bool (*counts)() = nullptr;
};

thread_local Counter counter;

bool MustFail() {
  if (!counter.armed || !counter.counts()) return false;
  if (--counter.to_go > 0) return false;
  counter.armed = false;
  counter.failed = true;
  return true;
}

void* Allocate(std::size_t size) {
  if (MustFail()) throw std::bad_alloc();
  void* memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

// The other forms call these.
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace sweep {

AllocationFailure::AllocationFailure(long nth, bool (*counts)()) {
  counter = {};
  counter.to_go = nth;
  counter.counts = counts;
}

AllocationFailure::~AllocationFailure() { counter = {}; }

void AllocationFailure::Arm() { counter.armed = true; }

bool AllocationFailure::HasFailed() const { return counter.failed; }

}  // namespace sweep
