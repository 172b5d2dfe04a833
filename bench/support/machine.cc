// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/machine.h"

#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>

namespace bench {

namespace {

std::string FirstLine(const std::string& path) {
  std::string line;
  std::getline(std::ifstream(path), line);
  return line;
}

std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown";
}

std::string Kernel() {
  utsname names{};
  uname(&names);
  return std::string(names.sysname) + " " + names.release + " " + names.machine;
}

std::string Governor(int core) {
  const std::string governor =
      FirstLine("/sys/devices/system/cpu/cpu" + std::to_string(core) + "/cpufreq/scaling_governor");
  return governor.empty() ? "unknown" : governor;
}

}  // namespace

int PinToOneCore() {
  const int core = sched_getcpu();
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(static_cast<unsigned>(core), &cores);
  sched_setaffinity(0, sizeof cores, &cores);
  return core;
}

std::vector<std::pair<std::string, std::string>> DescribeMachine(int core) {
  return {
      {"processor", ProcessorName()},      {"cores", std::to_string(sysconf(_SC_NPROCESSORS_ONLN))},
      {"core used", std::to_string(core)}, {"kernel", Kernel()},
      {"governor", Governor(core)},        {"build type", QOR_BENCH_BUILD_TYPE},
      {"compiler", QOR_BENCH_COMPILER},    {"load before", FirstLine("/proc/loadavg")}};
}

}  // namespace bench
