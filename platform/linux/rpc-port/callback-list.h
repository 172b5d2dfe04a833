// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_CALLBACK_LIST_H_
#define PLATFORM_LINUX_RPC_PORT_CALLBACK_LIST_H_

#include <cstddef>
#include <vector>

namespace platform::rpc {

// The callbacks of one event, called in the order of registration. A callback may add others, which
// are called as well, or clear the list, which ends the event.
template <typename Callback>
class CallbackList {
 public:
  void Add(Callback callback, void* user_data) { entries_.push_back({callback, user_data}); }
  void Clear() { entries_.clear(); }

  template <typename... Arguments>
  void Call(Arguments... arguments) const {
    for (size_t i = 0; i < entries_.size(); ++i) {
      const Entry entry = entries_[i];
      entry.callback(arguments..., entry.user_data);
    }
  }

  // Stops at the first result that is not 0, and returns it.
  template <typename... Arguments>
  int CallUntilFailure(Arguments... arguments) const {
    for (size_t i = 0; i < entries_.size(); ++i) {
      const Entry entry = entries_[i];
      if (const int result = entry.callback(arguments..., entry.user_data)) return result;
    }
    return 0;
  }

 private:
  struct Entry {
    Callback callback;
    void* user_data;
  };
  std::vector<Entry> entries_;
};

}  // namespace platform::rpc

#endif
