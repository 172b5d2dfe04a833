// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdio>
#include <stdexcept>
#include <string>

#include "figures/figures.h"
#include "support/package-root.h"

namespace bench {

void MeasureShare(Report& report) {
  const std::string command =
      "python3 -B " QOR_BENCH_INSTRUCTIONS "/check.py '" + BenchFolder() + "/..' --share";
  std::FILE* output = popen(command.c_str(), "r");
  double share = 0;
  const bool is_read = output != nullptr && std::fscanf(output, "%lf", &share) == 1;
  if (output != nullptr) pclose(output);
  if (!is_read) throw std::runtime_error("cannot count instructions: " + command);
  report.BeginGroup("instructions per command in the agent");
  report.Add({"share of the library", "%", SpreadOf({share * 100}), AtMost(25), ""});
}

}  // namespace bench
