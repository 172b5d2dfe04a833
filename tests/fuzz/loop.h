// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FUZZ_LOOP_H_
#define TESTS_FUZZ_LOOP_H_

#include <Ecore.h>

namespace fuzz {

// Initializes Ecore for the lifetime of the process, because each restart of Ecore leaks memory.
inline void StartLoop() {
  static const int count = ecore_init();
  static_cast<void>(count);
}

// Processes pending events and those that follow from them. Does not wait.
inline void RunLoop() {
  constexpr int kIterations = 4;
  for (int i = 0; i < kIterations; ++i) ecore_main_loop_iterate();
}

}  // namespace fuzz

#endif
