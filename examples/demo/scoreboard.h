// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_EXAMPLES_DEMO_SCOREBOARD_H_
#define QOR_EXAMPLES_DEMO_SCOREBOARD_H_

#include <chrono>
#include <string>

namespace demo {

// Prints a line per step, with the time since the start, and counts expected and unexpected
// results.
class Scoreboard {
 public:
  void Headline(const std::string& text) const;
  void Line(const std::string& step, const std::string& actual, bool is_expected);
  // Prints the counts. Returns whether every result was as expected.
  bool Finish() const;

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  int expected_ = 0;
  int unexpected_ = 0;
};

}  // namespace demo

#endif
