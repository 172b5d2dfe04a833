// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_CHILD_PROCESS_H_
#define QOR_BENCH_SUPPORT_CHILD_PROCESS_H_

#include <sys/types.h>

#include <functional>

namespace bench {

// A forked process that runs `body` and exits. The destructor kills it.
class ChildProcess {
 public:
  explicit ChildProcess(const std::function<void()>& body);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

 private:
  pid_t pid_;
};

}  // namespace bench

#endif
