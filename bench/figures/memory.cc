// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "figures/figures.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 5;
constexpr std::size_t kPackages = 10;
constexpr double kKiB = 1024;

struct IdleAgent {
  double files = 0;
  double heap = 0;
  double ecore = 0;
  double others = 0;
};

IdleAgent RunIdleAgent() {
  std::FILE* output = popen((BenchFolder() + "/idle-agent").c_str(), "r");
  IdleAgent agent;
  const bool is_read =
      output != nullptr && std::fscanf(output, "%lf %lf %lf %lf", &agent.files, &agent.heap,
                                       &agent.ecore, &agent.others) == 4;
  if (output != nullptr) pclose(output);
  if (!is_read) throw std::runtime_error("cannot run the idle agent");
  return agent;
}

}  // namespace

void MeasureMemory(Report& report) {
  const TemporaryFolder root;
  FillRoot(root.Path(), kPackages, kPackages);
  setenv("QOR_PLATFORM_ROOT", root.Path().c_str(), 1);
  Samples own, heap, ecore, others;
  for (std::size_t round = 0; round < kRounds; ++round) {
    const IdleAgent agent = RunIdleAgent();
    own.push_back((agent.files + agent.heap) / kKiB);
    heap.push_back(agent.heap / kKiB);
    ecore.push_back(agent.ecore / kKiB);
    others.push_back(agent.others / kKiB);
  }
  unsetenv("QOR_PLATFORM_ROOT");
  report.BeginGroup("memory and size");
  report.Add(
      {"idle agent: library, platform and their heap", "KiB", SpreadOf(own), AtMost(2048), ""});
  report.Add({"idle agent: heap alone", "KiB", SpreadOf(heap), {}, ""});
  report.Add({"idle agent: Ecore's libraries", "KiB", SpreadOf(ecore), {}, ""});
  report.Add({"idle agent: all other libraries", "KiB", SpreadOf(others), {}, ""});
  const auto size =
      static_cast<double>(std::filesystem::file_size(BenchFolder() + "/stripped-library.so"));
  report.Add({"stripped library file", "KiB", SpreadOf({size / kKiB}), AtMost(400), ""});
}

}  // namespace bench
