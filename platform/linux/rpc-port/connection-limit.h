// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_CONNECTION_LIMIT_H_
#define PLATFORM_LINUX_RPC_PORT_CONNECTION_LIMIT_H_

#include <cstddef>
#include <map>
#include <string>

namespace platform::rpc {

// Counts the connections of each application to one port, so that none takes the descriptors and
// the memory of all.
class ConnectionLimit {
 public:
  static constexpr size_t kMaxConnections = 16;

  enum class Decision {
    kGranted,
    kRejected,
    kRejectedAgain  // the application was told before, and has had connections ever since
  };
  // Whether the application may have one more.
  Decision Check(const std::string& app_id);
  void Add(const std::string& app_id) { ++counts_[app_id].connections; }
  void Remove(const std::string& app_id);

 private:
  struct Count {
    size_t connections = 0;
    bool is_logged = false;
  };
  std::map<std::string, Count> counts_;
};

}  // namespace platform::rpc

#endif
