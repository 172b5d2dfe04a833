// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_KILL_AT_SYSTEM_CALL_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_KILL_AT_SYSTEM_CALL_H_

#include <sys/ptrace.h>

#include <functional>
#include <string>
#include <vector>

namespace platform::test {

// Returns whether a system call that is about to be made counts as a step.
using SystemCallPredicate = std::function<bool(const __ptrace_syscall_info&)>;

// Selects calls that create, write, move or remove files.
bool ModifiesFiles(const __ptrace_syscall_info& call);

// Runs a program, whose path is the first argument, under ptrace and kills it before the given
// step, counted from 1. Returns false if the program has exited before. Only steps of the main
// thread count.
bool KillAtSystemCall(const std::vector<std::string>& arguments, int number,
                      const SystemCallPredicate& is_step);

}  // namespace platform::test

#endif
