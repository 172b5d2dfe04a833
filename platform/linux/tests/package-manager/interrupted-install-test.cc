// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Kills an installer just before each of its system calls that change files, in turn, and looks at
// what is left.
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/linux/tests/support/interrupted-operation-test.h"
#include "platform/linux/tests/support/kill-at-system-call.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

class Interrupted : public test::InterruptedOperationTest {
 protected:
  Interrupted() {
    // The leak checker cannot work in a process that is traced.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  }

  void KillAtEveryStep(const Operation& operation) {
    InterruptAtEveryStep(operation, [&](int step) {
      return test::KillAtSystemCall({test::ToolPath(), operation.word, operation.argument}, step,
                                    test::ModifiesFiles);
    });
  }
};

TEST_F(Interrupted, FirstInstallLeavesNothingOrAllOfIt) { KillAtEveryStep(FirstInstall()); }

TEST_F(Interrupted, UpdateLeavesTheOldVersionOrTheNewOne) { KillAtEveryStep(Update()); }

TEST_F(Interrupted, UninstallLeavesAllOfItOrNothing) { KillAtEveryStep(Removal()); }

}  // namespace
}  // namespace platform
