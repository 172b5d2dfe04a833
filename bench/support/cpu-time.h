// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_CPU_TIME_H_
#define QOR_BENCH_SUPPORT_CPU_TIME_H_

#include <sys/types.h>

#include <vector>

namespace bench {

// Returns the child processes of a process.
std::vector<pid_t> ChildrenOf(pid_t process);

// Microseconds that a process has run on a processor, in user and in kernel mode.
double CpuTimeOf(pid_t process);

// The same of this process and everything below it.
double CpuTimeOfProcessTree();

}  // namespace bench

#endif
