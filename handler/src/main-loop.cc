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

bool MainLoop::IsOpenHere() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return is_open_ && std::this_thread::get_id() == thread_;
}

bool MainLoop::PostLater(std::function<void()> task) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!is_open_) return false;
  queued_.push_back(std::move(task));
  // Under the lock, so that the loop is not taken down meanwhile.
  if (queued_.size() == 1) {
    ecore_main_loop_thread_safe_call_async([](void*) { Get().RunQueued(); }, nullptr);
  }
  return true;
}

bool MainLoop::Ask(const std::function<bool()>& question) {
  // Shared: the asking thread may be gone before the other end is done with the promise.
  const auto answer = std::make_shared<std::promise<bool>>();
  auto future = answer->get_future();
  const auto task = [question, answer] {
    bool yes = false;
    try {
      yes = question();
    } catch (const std::exception& error) {
      dlog_print(DLOG_ERROR, kLogTag, "a question to the agent failed: %s", error.what());
    }
    answer->set_value(yes);
  };
  return Post(task) && future.get();
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
      dlog_print(DLOG_ERROR, kLogTag, "an answer was not handed over: %s", error.what());
    }
  }
}

}  // namespace qor::internal
