// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_SUMMARY_H_
#define QOR_TOOLS_QOR_OUTPUT_SUMMARY_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "qor/agent/command-result.h"

namespace tools::cli {

// Counts and latencies of several commands.
class Summary {
 public:
  void Add(const CommandResult& result);
  // Adds commands that were still pending when a signal arrived.
  void AddInterrupted(std::size_t count) { interrupted_ += count; }

  // The exit status of the first command without success, or kSuccess.
  ExitCode Code() const { return code_; }
  // Two lines: the number of commands per outcome, and the latencies of answered commands.
  std::string ToText() const;
  // {"summary":{"commands":...,"outcomes":{...},"latencyMs":{"answers":...,"min":...,...}}}
  std::string ToJson() const;

 private:
  struct Latencies {
    double min, median, p90, p99, max;
  };

  std::size_t CountCommands() const;
  // Requires at least one latency.
  Latencies Measure() const;

  std::map<std::string, std::size_t> counts_;  // by outcome
  std::size_t interrupted_ = 0;
  std::vector<double> latencies_ms_;
  ExitCode code_ = kSuccess;
};

}  // namespace tools::cli

#endif
