// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_THREAD_UTILS_H_
#define TIZEN_THREAD_UTILS_H_

#include <functional>

namespace tizen {

class ThreadUtils {
 public:
  // Runs `closure` on the main loop's thread and waits for it. The loop must be running, unless
  // this is its thread: then the closure runs at once. Rethrows exceptions of the closure.
  static void InvokeOnMainThreadSync(const std::function<void()>& closure);

  // Returns whether the calling thread initialized the main loop. Thread-safe.
  static bool IsMainThread();
};

}  // namespace tizen

#endif
