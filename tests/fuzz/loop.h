// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FUZZ_LOOP_H_
#define TESTS_FUZZ_LOOP_H_

#include <Ecore.h>

namespace fuzz {

// Starts Ecore for the life of the process: each restart would leak what Ecore keeps.
inline void StartLoop() {
  static const int count = ecore_init();
  static_cast<void>(count);
}

// Serves what is there, and what follows from that; waits for nothing.
inline void RunLoop() {
  constexpr int kTurns = 4;
  for (int i = 0; i < kTurns; ++i) ecore_main_loop_iterate();
}

}  // namespace fuzz

#endif
