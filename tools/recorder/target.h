// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_TARGET_H_
#define QOR_TOOLS_RECORDER_TARGET_H_

#include <mutex>
#include <set>
#include <utility>

namespace tools::recorder {

// Whom a callback of the recorder's own stands in for.
template <typename Callback>
using Target = std::pair<Callback, void*>;

// A copy that lasts for ever, to be handed out as user data; equal ones share it. Any thread may
// call.
template <typename Callback>
void* Keep(Callback callback, void* user_data) {
  static std::mutex& mutex = *new std::mutex;
  static auto& targets = *new std::set<Target<Callback>>;
  const std::lock_guard<std::mutex> lock(mutex);
  const Target<Callback>& kept = *targets.emplace(callback, user_data).first;
  return const_cast<Target<Callback>*>(&kept);
}

template <typename Callback>
const Target<Callback>& Kept(void* user_data) {
  return *static_cast<const Target<Callback>*>(user_data);
}

}  // namespace tools::recorder

#endif
