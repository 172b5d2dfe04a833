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
      "python3 -B " QOR_BENCH_INSTRUCTIONS "/check.py '" + FolderOfBench() + "/..' --share";
  std::FILE* output = popen(command.c_str(), "r");
  double share = 0;
  const bool told = output != nullptr && std::fscanf(output, "%lf", &share) == 1;
  if (output != nullptr) pclose(output);
  if (!told) throw std::runtime_error("the instructions cannot be counted: " + command);
  report.BeginGroup("instructions of an agent's command");
  report.Add({"the library's own part of them", "%", SpreadOf({share * 100}), AtMost(25), ""});
}

}  // namespace bench
