// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_SUMMARY_H_
#define QOR_TOOLS_QOR_OUTPUT_SUMMARY_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "qor/output/outcome-report.h"

namespace tools::cli {

// What became of many commands.
class Summary {
 public:
  void Add(const Outcome& outcome);
  // Commands that were not waited for to the end.
  void AddInterrupted(std::size_t count) { interrupted_ += count; }

  // The exit status of the first command that was no success, or kSuccess.
  ExitCode Code() const { return code_; }
  // Two lines: how many ended how, and the latencies of those that a handler answered.
  std::string ToText() const;
  // {"summary":{"commands":...,"outcomes":{...},"latencyMs":{"answers":...,"min":...,...}}}
  std::string ToJson() const;

 private:
  struct Latencies {
    double min, median, p90, p99, max;
  };

  std::size_t Commands() const;
  // There must be some.
  Latencies Measure() const;

  std::map<OutcomeKind, std::size_t> counts_;
  std::size_t interrupted_ = 0;
  std::vector<double> milliseconds_;
  ExitCode code_ = kSuccess;
};

}  // namespace tools::cli

#endif
