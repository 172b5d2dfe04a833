// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_MAIN_LOOP_H_
#define QOR_HANDLER_SRC_MAIN_LOOP_H_

#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>

namespace qor::internal {

// The way onto the main loop's thread, for as long as the application runs. Every function is safe
// from any thread unless it says otherwise.
class MainLoop {
 public:
  // The one of this process. Never destroyed: handles of commands may outlive everything else.
  static MainLoop& Get();

  // Called on the main loop's thread, which the calling thread becomes.
  void Open();
  // Runs what is still queued, then refuses everything. Called on the main loop's thread.
  void Close();

  // Runs a task on the main loop's thread: at once when that is the calling thread, else soon.
  // False when the loop is closed; the task is not run then.
  template <typename Task>
  bool Post(Task task) {
    if (!IsOpenHere()) return PostLater(std::move(task));
    task();
    return true;
  }
  // The same, waiting for the task's answer; false too when the loop is closed.
  bool Ask(const std::function<bool()>& question);

 private:
  // Whether the loop is open and the calling thread its own.
  bool IsOpenHere();
  bool PostLater(std::function<void()> task);
  static void RunTasks(std::deque<std::function<void()>>& tasks);
  void RunQueued();

  std::mutex mutex_;
  std::deque<std::function<void()>> queued_;
  std::thread::id thread_;
  bool is_open_ = false;
};

}  // namespace qor::internal

#endif
