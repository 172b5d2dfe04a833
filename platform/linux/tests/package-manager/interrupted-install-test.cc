// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Kills an installer before each of its system calls that modify files, in turn, and checks that
// the operation is atomic and that the next request cleans up.
#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/linux/tests/support/interrupted-operation-test.h"
#include "platform/linux/tests/support/kill-at-system-call.h"
#include "platform/linux/tests/support/program.h"

namespace platform {
namespace {

class InterruptedInstallTest : public test::InterruptedOperationTest {
 protected:
  InterruptedInstallTest() {
    // LeakSanitizer does not work under ptrace.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  }

  void KillAtEveryStep(const Operation& operation) {
    InterruptAtEveryStep(operation, [&](int step) {
      return test::KillAtSystemCall({test::ToolPath(), operation.command, operation.argument}, step,
                                    test::ModifiesFiles);
    });
  }
};

TEST_F(InterruptedInstallTest, FirstInstallIsAtomic) { KillAtEveryStep(FirstInstall()); }

TEST_F(InterruptedInstallTest, UpdateIsAtomic) { KillAtEveryStep(Update()); }

TEST_F(InterruptedInstallTest, UninstallIsAtomic) { KillAtEveryStep(Removal()); }

}  // namespace
}  // namespace platform
