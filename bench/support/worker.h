// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_WORKER_H_
#define QOR_BENCH_SUPPORT_WORKER_H_

#include <functional>
#include <memory>
#include <vector>

#include "support/child-process.h"

namespace bench {

using Numbers = std::vector<double>;

// A child process that replies to requests; both consist of numbers. Everything measured runs in a
// worker, so that no two of them share a main loop, a root or a heap.
class Worker {
 public:
  using Task = std::function<Numbers(const Numbers&)>;

  // Calls `make` in the new process, then the returned task for every request. Receive() rethrows
  // the message of an exception of either as std::runtime_error.
  explicit Worker(const std::function<Task()>& make);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  // Kills the process. Its own ChildProcess objects die with it.
  ~Worker();

  void Send(const Numbers& request);
  // Blocks until the reply. Throws std::runtime_error.
  Numbers Receive();
  Numbers Call(const Numbers& request);

 private:
  int socket_ = -1;
  std::unique_ptr<ChildProcess> process_;
};

// Runs `task` in a new worker and returns its result.
Numbers RunInProcess(const std::function<Numbers()>& task);

}  // namespace bench

#endif
