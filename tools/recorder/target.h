// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_TARGET_H_
#define QOR_TOOLS_RECORDER_TARGET_H_

#include <mutex>
#include <set>
#include <utility>

namespace tools::recorder {

// The callback that a callback of the recorder replaces, and its user data.
template <typename Callback>
using Target = std::pair<Callback, void*>;

// Returns a copy that is never freed, to be passed as user data: the platform does not say when it
// drops a callback. Equal targets share one copy. Thread-safe.
template <typename Callback>
void* KeepTarget(Callback callback, void* user_data) {
  static std::mutex& mutex = *new std::mutex;
  static auto& targets = *new std::set<Target<Callback>>;
  const std::lock_guard<std::mutex> lock(mutex);
  const Target<Callback>& kept = *targets.emplace(callback, user_data).first;
  return const_cast<Target<Callback>*>(&kept);
}

template <typename Callback>
const Target<Callback>& TargetFrom(void* user_data) {
  return *static_cast<const Target<Callback>*>(user_data);
}

}  // namespace tools::recorder

#endif
