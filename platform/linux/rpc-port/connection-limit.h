// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_CONNECTION_LIMIT_H_
#define PLATFORM_LINUX_RPC_PORT_CONNECTION_LIMIT_H_

#include <cstddef>
#include <map>
#include <string>

namespace platform::rpc {

// Limits the connections of each application to one port, so that no application exhausts the
// process's descriptors and memory.
class ConnectionLimit {
 public:
  static constexpr size_t kMaxConnections = 16;

  enum class Decision {
    kGranted,
    kRejected,
    kRejectedAgain  // not the first time since the application's count was 0; not logged again
  };
  // Decides whether the application may open another connection.
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
