// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_HANDLE_TABLE_H_
#define PLATFORM_LINUX_RPC_PORT_HANDLE_TABLE_H_

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace platform::rpc {

// A number that was never given out before in this process, as a C handle.
inline void* NewHandle() {
  static std::atomic<uintptr_t> next{1};
  const uintptr_t number = next++;
  void* handle;
  std::memcpy(&handle, &number, sizeof(handle));
  return handle;
}

// The live objects of one kind by the handles that C callers hold. A handle is no address and never
// used twice, so that a stale or foreign one is just unknown. Safe from any thread.
template <typename T>
class HandleTable {
 public:
  // Never destroyed: handles are looked up until the very end of the process.
  static HandleTable& Get() {
    static HandleTable& table = *new HandleTable;
    return table;
  }

  void* Add(std::shared_ptr<T> object) {
    void* handle = NewHandle();
    const std::lock_guard<std::mutex> lock(mutex_);
    objects_.emplace(handle, std::move(object));
    return handle;
  }

  // Null when there is none.
  std::shared_ptr<T> Find(const void* handle) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second;
  }

  // The object that was there; the caller decides what its end means.
  std::shared_ptr<T> Remove(const void* handle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = objects_.find(handle);
    if (found == objects_.end()) return nullptr;
    auto object = std::move(found->second);
    objects_.erase(found);
    return object;
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<const void*, std::shared_ptr<T>> objects_;
};

}  // namespace platform::rpc

#endif
