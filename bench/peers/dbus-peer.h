// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_DBUS_PEER_H_
#define QOR_BENCH_PEERS_DBUS_PEER_H_

#include <memory>

#include "peers/dbus-bus.h"
#include "peers/peer.h"
#include "support/child-process.h"

namespace bench {

// The usual alternative: a method call over D-Bus, with sd-bus on both sides.
class DBusPeer : public Peer {
 public:
  explicit DBusPeer(std::unique_ptr<DBusBus> bus);
  ~DBusPeer() override;

  Cost Measure(const Workload& workload) override;

 private:
  std::unique_ptr<DBusBus> bus_;
  std::unique_ptr<ChildProcess> service_;
  sd_bus* connection_ = nullptr;
};

}  // namespace bench

#endif
