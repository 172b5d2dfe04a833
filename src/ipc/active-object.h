// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_ACTIVE_OBJECT_H_
#define QOR_SRC_IPC_ACTIVE_OBJECT_H_

#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace rpc_port {
namespace stub {
namespace stub {

// A unit of work for a worker thread.
class Job {
 public:
  class IEvent {
   public:
    virtual ~IEvent() = default;
    virtual void OnJobRun() = 0;
  };

  // `event` is not owned. It may be null for a job that only stops its worker.
  explicit Job(IEvent* event, bool done = false) : event_(event), done_(done) {}

  // Whether the worker exits at this job, without running it.
  bool IsDone() const { return done_; }
  void Run() const {
    if (event_ != nullptr) event_->OnJobRun();
  }

 private:
  IEvent* event_;
  bool done_;
};

// A thread-safe queue.
template <typename T>
class SharedQueue {
 public:
  void Push(T item) {
    std::list<T> items;
    items.push_back(std::move(item));
    Append(items);
  }

  // Moves the items to the end of the queue. Allocates nothing.
  void Append(std::list<T>& items) {
    const std::lock_guard<std::mutex> lock(mutex_);
    items_.splice(items_.end(), items);
    available_.notify_one();
  }

  // Waits until there is an item.
  T WaitAndPop() {
    std::unique_lock<std::mutex> lock(mutex_);
    available_.wait(lock, [this] { return !items_.empty(); });
    T item = std::move(items_.front());
    items_.pop_front();
    return item;
  }

 private:
  std::list<T> items_;
  std::mutex mutex_;
  std::condition_variable available_;
};

// A worker thread and its queue. The destructor joins the thread after the queued jobs have run.
class ActiveObject {
 public:
  ActiveObject();
  ActiveObject(const ActiveObject&) = delete;
  ActiveObject& operator=(const ActiveObject&) = delete;
  ~ActiveObject();

  void Send(std::shared_ptr<Job> job) { queue_.Push(std::move(job)); }

 private:
  void Work();

  SharedQueue<std::shared_ptr<Job>> queue_;
  // Allocated in advance, so that the destructor cannot run out of memory.
  std::list<std::shared_ptr<Job>> stop_{std::make_shared<Job>(nullptr, true)};
  std::thread worker_;
};

}  // namespace stub
}  // namespace stub
}  // namespace rpc_port

#endif
