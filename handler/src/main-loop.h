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

// Runs tasks on the main loop's thread while the application runs. Thread-safe unless noted.
class MainLoop {
 public:
  // The instance of this process. Never destroyed, because handles of commands may outlive static
  // objects.
  static MainLoop& Get();

  // Makes the calling thread the main loop's thread.
  void Open();
  // Runs the queued tasks and rejects all later ones. Called on the main loop's thread.
  void Close();

  // Runs a task on the main loop's thread: at once when that is the calling thread, else in a later
  // iteration. Returns false, and does not run the task, when the loop is closed.
  template <typename Task>
  bool Post(Task task) {
    if (!IsOpenOnThisThread()) return PostLater(std::move(task));
    task();
    return true;
  }
  // The same, blocking until the task has run. Returns its result; false when the loop is closed or
  // the task throws.
  bool PostAndWait(const std::function<bool()>& task);

 private:
  bool IsOpenOnThisThread();
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
