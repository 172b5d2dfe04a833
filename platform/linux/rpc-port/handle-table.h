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

// Returns a number as a C handle that is unique in this process.
inline void* NewHandle() {
  static std::atomic<uintptr_t> next{1};
  const uintptr_t number = next++;
  void* handle;
  std::memcpy(&handle, &number, sizeof(handle));
  return handle;
}

// The live objects of one type by the handles of C callers. A handle is not an address and never
// reused, so a stale or invalid handle is safely detected. Thread-safe.
template <typename T>
class HandleTable {
 public:
  // Never destroyed, because handles are looked up until the process has exited.
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

  // Null for an unknown handle.
  std::shared_ptr<T> Find(const void* handle) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second;
  }

  // Returns the removed object; null for an unknown handle.
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
