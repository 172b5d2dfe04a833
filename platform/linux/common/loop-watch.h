// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_LOOP_WATCH_H_
#define PLATFORM_LINUX_COMMON_LOOP_WATCH_H_

#include <Ecore.h>

namespace platform {

// Keeps Ecore initialized while an object watches descriptors, even when the program shuts its own
// Ecore down before. In a program that has not initialized Ecore, it stays initialized until exit.
class EcoreReference {
 public:
  EcoreReference();
  EcoreReference(const EcoreReference&) = delete;
  EcoreReference& operator=(const EcoreReference&) = delete;
  ~EcoreReference();
};

class LoopObserver {
 public:
  // Called on the main loop's thread. May destroy the watch that calls it.
  virtual void OnReady(bool readable, bool writable) = 0;

 protected:
  ~LoopObserver() = default;
};

// Reports from the main loop when a descriptor is ready. For the main loop's thread only.
class LoopWatch {
 public:
  // Owns neither; both must outlive the watch. Watches nothing at first.
  LoopWatch(int fd, LoopObserver* observer) : fd_(fd), observer_(observer) {}
  LoopWatch(const LoopWatch&) = delete;
  LoopWatch& operator=(const LoopWatch&) = delete;
  ~LoopWatch() { Remove(); }

  // Both throw std::runtime_error when Ecore cannot add the descriptor.
  void WatchReading(bool is_wanted) { Update(is_wanted, (flags_ & ECORE_FD_WRITE) != 0); }
  void WatchWriting(bool is_wanted) { Update((flags_ & ECORE_FD_READ) != 0, is_wanted); }
  bool IsReading() const { return (flags_ & ECORE_FD_READ) != 0; }
  void Remove();

 private:
  void Update(bool reading, bool writing);
  static Eina_Bool OnFdReady(void* data, Ecore_Fd_Handler* handler);

  const int fd_;
  LoopObserver* const observer_;
  Ecore_Fd_Handler* handler_ = nullptr;
  int flags_ = 0;
};

}  // namespace platform

#endif
