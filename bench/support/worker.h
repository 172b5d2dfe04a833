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

// A process of its own that answers questions in numbers. Everything that is measured runs in one,
// so that no two things measured share a main loop, a root or a heap.
class Worker {
 public:
  using Task = std::function<Numbers(const Numbers&)>;

  // `make` runs in the new process; what it returns answers every question. What either throws, is
  // thrown by Receive().
  explicit Worker(const std::function<Task()>& make);
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  // Ends the process; what it started ends with it.
  ~Worker();

  void Send(const Numbers& question);
  // Throws std::runtime_error.
  Numbers Receive();
  Numbers Ask(const Numbers& question);

 private:
  int socket_ = -1;
  std::unique_ptr<ChildProcess> process_;
};

// The answer of a process that is started for one question.
Numbers AskOnce(const std::function<Numbers()>& task);

}  // namespace bench

#endif
