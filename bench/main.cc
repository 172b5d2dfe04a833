// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Compares the library with its peers and limits in one run on one core. Each figure is a ratio
// within the run, or a size, so that the goals do not depend on the machine.

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>

#include "figures/figures.h"
#include "support/machine.h"

namespace {

struct Part {
  const char* name;
  void (*measure)(bench::Report&);
};

constexpr Part kParts[] = {
    {"round-trips", bench::MeasureRoundTrips},
    {"pending", bench::MeasurePending},
    {"connected", bench::MeasureConnected},
    {"hostile", bench::MeasureHostile},
    {"start", bench::MeasureStart},
    {"package-event", bench::MeasurePackageEvent},
    {"launch", bench::MeasureLaunch},
    {"memory", bench::MeasureMemory},
    {"durable", bench::MeasureDurable},
    {"share", bench::MeasureShare},
};

// A thousand handlers need thousands of connections.
void AllowManyDescriptors() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// A signal interrupts the wait for a measuring process, which then fails like any other error and
// cleans up processes and folders.
void InterruptOnSignals() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// Waits until all processes of one part have exited before the next part is measured. Orphans are
// reparented to this process, which is a subreaper.
void ReapOrphans() {
  while (waitpid(-1, nullptr, 0) > 0) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app(
        "Compares the library with a bare socket, D-Bus and the minimum cost of each task.");
    bool json = false;
    std::string only;
    std::map<std::string, int> names;
    for (const Part& part : kParts) names[part.name] = 0;
    app.add_flag("--json", json, "Print only JSON on standard output");
    app.add_option("--only", only, "Measure one part")->check(CLI::IsMember(names));
    CLI11_PARSE(app, argc, argv);

    unsetenv("DLOG_FILTER");
    unsetenv("DLOG_FILE");
    AllowManyDescriptors();
    InterruptOnSignals();
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    bench::Report report(bench::DescribeMachine(bench::PinToOneCore()));
    for (const Part& part : kParts) {
      if (!only.empty() && only != part.name) continue;
      std::fprintf(stderr, "measuring %s\n", part.name);
      part.measure(report);
      ReapOrphans();
    }
    json ? report.PrintJson() : report.PrintTable();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    ReapOrphans();
    return 1;
  }
  return 0;
}
