// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_COLLECTOR_H_
#define TIZEN_COLLECTOR_H_

#include <exception>
#include <utility>
#include <vector>

namespace tizen {

// Collects the items of a C enumeration in its callback. An exception stops the enumeration and is
// rethrown by Take().
template <typename Item>
class Collector {
 public:
  // Adds an item. Returns the callback's return value: true to continue.
  template <typename... Arguments>
  bool Add(Arguments&&... arguments) noexcept {
    try {
      items_.emplace_back(std::forward<Arguments>(arguments)...);
      return true;
    } catch (...) {
      error_ = std::current_exception();
      return false;
    }
  }

  std::vector<Item> Take() {
    if (error_) std::rethrow_exception(error_);
    return std::move(items_);
  }

 private:
  std::vector<Item> items_;
  std::exception_ptr error_;
};

}  // namespace tizen

#endif
