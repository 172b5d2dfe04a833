// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <optional>

#include "allocation-failure.h"
#include "environment.h"
#include "fake-platform.h"

namespace {

using fault_injection::AllocationFailure;
using fault_injection::Journal;
using fault_injection::Play;
using fault_injection::Scenario;
using fault_injection::Step;

// Checks the step in which the allocation failed. A C function returns the error, except when it
// starts the library: handlers that cannot be loaded are skipped.
void Check(const Step& step) {
  const bool starts = step.name == "initialize" || step.name == "first send_command";
  const bool serves_nothing = step.result == QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND;
  const bool is_function = starts || step.name == "configuration_create" ||
                           step.name == "send_command" || step.name == "foreach_handler_info" ||
                           step.name == "handler_info_clone" || step.name.substr(0, 4) == "set_";
  if (is_function && !(starts && (step.result == 0 || serves_nothing))) {
    EXPECT_EQ(step.result, QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY) << step.name;
  }
}

// Allocations of the test and of the fake platform do not count.
bool IsLibraryCode() { return fake::CurrentSide() == fake::Side::kCodeUnderTest; }

// Runs each scenario once for every allocation of the library in it.
class AllocationFailures : public ::testing::TestWithParam<Scenario> {};

INSTANTIATE_TEST_SUITE_P(At, AllocationFailures, ::testing::ValuesIn(fault_injection::kScenarios),
                         [](const auto& param_info) { return param_info.param.name; });

TEST_P(AllocationFailures, SurvivesAnyFailedAllocation) {
  const Journal expected = Play(GetParam());
  for (long nth = 1;; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    {
      AllocationFailure failure(nth, IsLibraryCode);
      std::optional<Step> failed;
      Play(
          GetParam(), [&failure] { failure.Arm(); },
          [&](const Step& step) {
            if (failure.HasFailed() && !failed) failed = step;
          });
      if (failed) Check(*failed);
      if (!failure.HasFailed()) {
        RecordProperty("allocations", static_cast<int>(nth - 1));
        break;
      }
    }
    EXPECT_TRUE(Play(GetParam()) == expected);
    if (HasFailure()) return;
  }
}

}  // namespace
