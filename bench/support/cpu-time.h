// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_CPU_TIME_H_
#define QOR_BENCH_SUPPORT_CPU_TIME_H_

#include <sys/types.h>

#include <vector>

namespace bench {

// Returns the child processes of a process.
std::vector<pid_t> ChildrenOf(pid_t process);

// Returns the CPU time of a process in microseconds, in user and kernel mode.
double CpuTimeOf(pid_t process);

// The same for this process and all its descendants.
double CpuTimeOfProcessTree();

}  // namespace bench

#endif
