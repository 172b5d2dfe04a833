// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include "documented-errors.h"
#include "environment.h"

namespace {

using fault_injection::Journal;
using fault_injection::Play;
using fault_injection::Scenario;

// Runs each scenario once for every call of a platform function in it and every documented error of
// that function.
class PlatformFailures : public ::testing::TestWithParam<Scenario> {
 protected:
  // Plays the scenario without failures and counts its platform calls from the start of injection.
  void SetUp() override {
    std::size_t first = 0;
    expected_ = Play(GetParam(), [&first] { first = fake::Calls().size(); });
    const auto calls = fake::Calls();
    for (std::size_t i = first; i < calls.size(); ++i) ++counts_[calls[i].function];
    ASSERT_FALSE(HasFailure());
  }

  void Fail(const std::string& function, int error, int nth) {
    SCOPED_TRACE("call " + std::to_string(nth) + " of " + function + " with " +
                 std::to_string(error));
    Play(GetParam(), [&] { fake::Fail(function, error, nth); });
    // No state may be left over from the failure.
    EXPECT_TRUE(Play(GetParam()) == expected_);
  }

  Journal expected_;
  std::map<std::string, int> counts_;
};

INSTANTIATE_TEST_SUITE_P(At, PlatformFailures, ::testing::ValuesIn(fault_injection::kScenarios),
                         [](const auto& param_info) { return param_info.param.name; });

TEST_P(PlatformFailures, SurvivesAnyFailedCall) {
  for (const auto& [function, count] : counts_) {
    for (const int error : fault_injection::DocumentedErrors(function)) {
      for (int nth = 1; nth <= count; ++nth) {
        Fail(function, error, nth);
        if (HasFailure()) return;
      }
    }
  }
}

TEST_P(PlatformFailures, SurvivesFailureOfAllCallsOfAFunction) {
  for (const auto& [function, count] : counts_) {
    for (const int error : fault_injection::DocumentedErrors(function)) {
      SCOPED_TRACE("all calls of " + function + " with " + std::to_string(error));
      Play(GetParam(), [&, name = function] { fake::FailAlways(name, error); });
      EXPECT_TRUE(Play(GetParam()) == expected_);
      if (HasFailure()) return;
    }
  }
}

TEST_P(PlatformFailures, IgnoresLogFailures) {
  EXPECT_TRUE(Play(GetParam(), [] { fake::FailAlways("dlog_print", -1); }) == expected_);
}

}  // namespace
