// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "effects.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace chaos {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Returns the violations in an account whose command "u" has this type.
std::vector<std::string> Violations(const std::vector<std::string>& lines,
                                    const std::string& type = "c50.once") {
  EffectChecker checker;
  checker.OnLine("submit u " + type);
  for (const std::string& line : lines) checker.OnLine(line);
  checker.Finish();
  return checker.Violations();
}

TEST(EffectChecker, AcceptsEveryOutcome) {
  EXPECT_THAT(Violations({"result u 0", "effect u", "outcome u 0 0"}), IsEmpty());
  EXPECT_THAT(Violations({"result u 0", "effect u", "outcome u 1 0"}), IsEmpty());
  EXPECT_THAT(Violations({"result u 0", "outcome u 2 0"}), IsEmpty());
  EXPECT_THAT(Violations({"result u 0", "outcome u 3 0"}), IsEmpty());
  EXPECT_THAT(Violations({"result u 0", "effect u", "outcome u 3 0", "outcome u 3 0",
                          "outcome u 0 1", "outcome u 0 1"}),
              IsEmpty());
  EXPECT_THAT(Violations({"result u -28"}), IsEmpty());
  EXPECT_THAT(Violations({}), IsEmpty());
  EXPECT_THAT(Violations({"result u 0", "effect u", "effect u", "outcome u 0 0"}, "c50.again"),
              IsEmpty());
}

TEST(EffectChecker, CountsCommands) {
  EffectChecker checker;
  for (const char* line :
       {"submit a c50.once", "result a 0", "outcome a 3 0", "outcome a 3 0", "outcome a 0 1",
        "effect a", "submit b c50.once", "result b -28", "submit c c50.once", "result a -114"}) {
    checker.OnLine(line);
  }
  checker.Finish();
  const auto& tally = checker.GetTally();
  EXPECT_EQ(tally.accepted, 1);
  EXPECT_EQ(tally.submitted_again, 1);
  EXPECT_EQ(tally.rejected, 1);
  EXPECT_EQ(tally.unresolved, 1);
  EXPECT_THAT(tally.outcomes, ElementsAre(1, 0, 0, 0));
  EXPECT_EQ(tally.amended, 1);
  EXPECT_EQ(tally.repeated, 1);
  EXPECT_EQ(tally.effects, 1);
}

TEST(EffectChecker, ReportsEachViolation) {
  EXPECT_THAT(Violations({"result u 0"}), ElementsAre(HasSubstr("no outcome")));
  EXPECT_THAT(Violations({"result u 0", "effect u", "effect u", "outcome u 0 0"}),
              ElementsAre(HasSubstr("two effects")));
  EXPECT_THAT(Violations({"result u 0", "outcome u 0 0"}),
              ElementsAre(HasSubstr("without an effect")));
  EXPECT_THAT(Violations({"result u 0", "effect u", "outcome u 2 0"}),
              ElementsAre(HasSubstr("not delivered")));
  EXPECT_THAT(Violations({"result u -28", "effect u"}), ElementsAre(HasSubstr("was not accepted")));
  EXPECT_THAT(Violations({"result u 0", "outcome u 1 0", "outcome u 3 0"}),
              ElementsAre(HasSubstr("two outcomes")));
  EXPECT_THAT(Violations({"result u 0", "outcome u 1 1"}),
              ElementsAre(HasSubstr("before it was reported")));
  EXPECT_THAT(Violations({"result u 0", "outcome u 2 0", "outcome u 1 1"}),
              ElementsAre(HasSubstr("was not unknown")));
  EXPECT_THAT(Violations({"something u"}), ElementsAre(HasSubstr("invalid line")));
  EXPECT_THAT(Violations({"effect v"}), testing::Contains(HasSubstr("never submitted")));
}

}  // namespace
}  // namespace chaos
