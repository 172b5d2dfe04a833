// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "main-loop.h"

#include <Ecore.h>

#include <exception>
#include <future>
#include <utility>

#include "log.h"

namespace qor::internal {

MainLoop& MainLoop::Get() {
  static MainLoop& loop = *new MainLoop;
  return loop;
}

void MainLoop::Open() {
  const std::lock_guard<std::mutex> lock(mutex_);
  thread_ = std::this_thread::get_id();
  is_open_ = true;
}

void MainLoop::Close() {
  std::deque<std::function<void()>> last;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_open_ = false;
    last.swap(queued_);
  }
  RunTasks(last);
}

bool MainLoop::IsOpenOnThisThread() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return is_open_ && std::this_thread::get_id() == thread_;
}

bool MainLoop::PostLater(std::function<void()> task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!is_open_) return false;
  queued_.push_back(std::move(task));
  // Under the lock: Close() must not return, and Ecore not shut down, before this call.
  if (queued_.size() == 1) {
    ecore_main_loop_thread_safe_call_async([](void*) { Get().RunQueued(); }, nullptr);
  }
  return true;
}

bool MainLoop::PostAndWait(const std::function<bool()>& task) {
  // Shared: the waiting thread may continue, and destroy its copy, before set_value() has returned.
  const auto promise = std::make_shared<std::promise<bool>>();
  auto future = promise->get_future();
  const auto run = [task, promise] {
    bool result = false;
    try {
      result = task();
    } catch (const std::exception& error) {
      dlog_print(DLOG_ERROR, kLogTag, "task failed: %s", error.what());
    }
    promise->set_value(result);
  };
  return Post(run) && future.get();
}

void MainLoop::RunQueued() {
  std::deque<std::function<void()>> tasks;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks.swap(queued_);
  }
  RunTasks(tasks);
}

void MainLoop::RunTasks(std::deque<std::function<void()>>& tasks) {
  for (const auto& task : tasks) {
    try {
      task();
    } catch (const std::exception& error) {
      dlog_print(DLOG_ERROR, kLogTag, "task failed: %s", error.what());
    }
  }
}

}  // namespace qor::internal
