// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/connection-limit.h"

#include <utility>

namespace platform::rpc {

ConnectionLimit::Decision ConnectionLimit::Check(const std::string& app_id) {
  const auto found = counts_.find(app_id);
  if (found == counts_.end() || found->second.connections < kMaxConnections)
    return Decision::kGranted;
  return std::exchange(found->second.is_logged, true) ? Decision::kRejectedAgain
                                                      : Decision::kRejected;
}

void ConnectionLimit::Remove(const std::string& app_id) {
  const auto found = counts_.find(app_id);
  if (found != counts_.end() && --found->second.connections == 0) counts_.erase(found);
}

}  // namespace platform::rpc
