// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "scoreboard.h"

#include <cstdio>

namespace demo {

void Scoreboard::Headline(const std::string& text) const { std::printf("\n%s\n", text.c_str()); }

void Scoreboard::Line(const std::string& step, const std::string& actual, bool is_expected) {
  ++(is_expected ? expected_ : unexpected_);
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start_;
  std::printf("%8.3f s  %-4s  %-44s %s\n", elapsed.count(), is_expected ? "ok" : "BAD",
              step.c_str(), actual.c_str());
  std::fflush(stdout);
}

bool Scoreboard::Finish() const {
  std::printf("\n%d as expected, %d not\n", expected_, unexpected_);
  return unexpected_ == 0;
}

}  // namespace demo
