// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_THREAD_UTILS_H_
#define TIZEN_THREAD_UTILS_H_

#include <functional>

namespace tizen {

class ThreadUtils {
 public:
  // Runs `closure` on the main loop's thread and returns when it has run: at once when called
  // there, else as soon as the loop gets to it, which must be running. What the closure throws is
  // thrown here.
  static void InvokeOnMainThreadSync(const std::function<void()>& closure);

  // Returns whether the calling thread is the one that initialized the main loop. Thread-safe.
  static bool IsMainThread();
};

}  // namespace tizen

#endif
