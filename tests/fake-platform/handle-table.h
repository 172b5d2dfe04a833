// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAKE_PLATFORM_HANDLE_TABLE_H_
#define TESTS_FAKE_PLATFORM_HANDLE_TABLE_H_

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace fake::internal {

// Returns a handle value that has not been used before, so that stale handles are always detected.
std::uintptr_t NextHandle();

// Maps opaque handles to objects. Thread-safe. Objects are shared, so that one that is in use
// survives its removal.
template <typename T>
class HandleTable {
 public:
  explicit HandleTable(const char* kind) : kind_(kind) {}

  void* Add(std::shared_ptr<T> object) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const std::uintptr_t handle = NextHandle();
    objects_.emplace(handle, std::move(object));
    return reinterpret_cast<void*>(handle);
  }

  std::shared_ptr<T> Find(const void* handle) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == objects_.end() ? nullptr : found->second;
  }

  void Remove(const void* handle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    objects_.erase(reinterpret_cast<std::uintptr_t>(handle));
  }

  // Oldest first.
  std::vector<std::pair<void*, std::shared_ptr<T>>> All() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::pair<void*, std::shared_ptr<T>>> all;
    for (const auto& [handle, object] : objects_) {
      all.emplace_back(reinterpret_cast<void*>(handle), object);
    }
    return all;
  }

  size_t Size() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return objects_.size();
  }

  void Clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    objects_.clear();
    first_current_ = NextHandle();
  }

  // Handles from before the last Clear().
  bool IsOld(const void* handle) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return reinterpret_cast<std::uintptr_t>(handle) < first_current_;
  }

  const std::string& Kind() const { return kind_; }

 private:
  const std::string kind_;
  mutable std::mutex mutex_;
  std::map<std::uintptr_t, std::shared_ptr<T>> objects_;
  std::uintptr_t first_current_ = 0;
};

}  // namespace fake::internal

#endif
