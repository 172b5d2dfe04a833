// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_EXAMPLES_DEMO_SCOREBOARD_H_
#define QOR_EXAMPLES_DEMO_SCOREBOARD_H_

#include <chrono>
#include <string>

namespace demo {

// Prints a line for each step, with the time since the start, and counts what came out as expected.
class Scoreboard {
 public:
  void Headline(const std::string& text) const;
  // `saw` is what the client saw; `expected` whether that is what it should.
  void Line(const std::string& step, const std::string& saw, bool expected);
  // Prints the count; true when everything was as expected.
  bool Finish() const;

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  int expected_ = 0;
  int unexpected_ = 0;
};

}  // namespace demo

#endif
