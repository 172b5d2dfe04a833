// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Makes the disk fail at each call of an operation that modifies files, in turn, and checks that
// the operation is atomic and reports its result correctly.
#include <gtest/gtest.h>
#include <package_manager.h>

#include "platform/linux/tests/support/disk-fault-injector.h"
#include "platform/linux/tests/support/interrupted-operation-test.h"

namespace platform {
namespace {

using test::DiskFaultInjector;

struct Failure {
  const char* name;
  DiskFaultInjector::Kind kind;
};

class DiskFailureTest : public test::InterruptedOperationTest,
                        public testing::WithParamInterface<Failure> {
 protected:
  void FailAtEveryStep(const Operation& operation) {
    InterruptAtEveryStep(operation, [&](int step) {
      int result = 0;
      bool has_failed = false;
      {
        const DiskFaultInjector disk(Root(), GetParam().kind, step);
        result = Run(operation);
        has_failed = disk.HasFailed();
      }
      // The result is consistent with the installed version, and an error is logged.
      EXPECT_EQ(InstalledVersion(), result == PACKAGE_MANAGER_ERROR_NONE ? operation.new_version
                                                                         : operation.old_version);
      if (result != PACKAGE_MANAGER_ERROR_NONE) {
        EXPECT_NE(Log().find(Root()), std::string::npos) << Log();
      }
      return has_failed;
    });
  }
};

INSTANTIATE_TEST_SUITE_P(Disk, DiskFailureTest,
                         testing::Values(Failure{"IsFull", DiskFaultInjector::Kind::kFull},
                                         Failure{"IsReadOnly", DiskFaultInjector::Kind::kReadOnly},
                                         Failure{"FailsOnce",
                                                 DiskFaultInjector::Kind::kOneFailure}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST_P(DiskFailureTest, FirstInstallIsAtomic) { FailAtEveryStep(FirstInstall()); }

TEST_P(DiskFailureTest, UpdateIsAtomic) { FailAtEveryStep(Update()); }

TEST_P(DiskFailureTest, UninstallIsAtomic) { FailAtEveryStep(Removal()); }

}  // namespace
}  // namespace platform
