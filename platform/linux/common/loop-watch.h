// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_LOOP_WATCH_H_
#define PLATFORM_LINUX_COMMON_LOOP_WATCH_H_

#include <Ecore.h>

namespace platform {

class LoopObserver {
 public:
  // Called on the main loop's thread. May destroy the watch that calls it.
  virtual void OnReady(bool readable, bool writable) = 0;

 protected:
  ~LoopObserver() = default;
};

// Lets the main loop tell when a descriptor is ready. For the main loop's thread alone.
class LoopWatch {
 public:
  // Neither is owned; both must outlive the watch. Nothing is watched at first.
  LoopWatch(int fd, LoopObserver* target) : fd_(fd), observer_(target) {}
  LoopWatch(const LoopWatch&) = delete;
  LoopWatch& operator=(const LoopWatch&) = delete;
  ~LoopWatch() { Remove(); }

  // Throws std::runtime_error when the main loop refuses.
  void WatchReading(bool wanted) { Update(wanted, (flags_ & ECORE_FD_WRITE) != 0); }
  void WatchWriting(bool wanted) { Update((flags_ & ECORE_FD_READ) != 0, wanted); }
  bool IsReading() const { return (flags_ & ECORE_FD_READ) != 0; }
  void Remove();

 private:
  void Update(bool reading, bool writing);
  static Eina_Bool Ready(void* data, Ecore_Fd_Handler* handler);

  const int fd_;
  LoopObserver* const observer_;
  Ecore_Fd_Handler* handler_ = nullptr;
  int flags_ = 0;
};

}  // namespace platform

#endif
