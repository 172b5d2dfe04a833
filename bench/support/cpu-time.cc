// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/cpu-time.h"

#include <unistd.h>

#include <ctime>
#include <fstream>
#include <string>

namespace bench {

namespace {

double CpuTimeOfTree(pid_t process) {
  double sum = CpuTimeOf(process);
  for (const pid_t child : ChildrenOf(process)) sum += CpuTimeOfTree(child);
  return sum;
}

}  // namespace

std::vector<pid_t> ChildrenOf(pid_t process) {
  const std::string id = std::to_string(process);
  std::ifstream list("/proc/" + id + "/task/" + id + "/children");
  std::vector<pid_t> children;
  for (pid_t child; list >> child;) children.push_back(child);
  return children;
}

double CpuTimeOf(pid_t process) {
  clockid_t clock;
  timespec time{};
  if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) return 0;
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

double CpuTimeOfProcessTree() { return CpuTimeOfTree(getpid()); }

}  // namespace bench
