// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_DBUS_PEER_H_
#define QOR_BENCH_DBUS_PEER_H_

#include <memory>

#include "child-process.h"
#include "peer.h"

struct sd_bus;

namespace bench {

// What people would use instead: a method call over D-Bus, with sd-bus through a dbus-daemon of its
// own.
class DBusPeer : public Peer {
 public:
  DBusPeer();
  ~DBusPeer() override;

  std::string Name() const override { return "D-Bus call (sd-bus, dbus-daemon)"; }
  void Measure(std::size_t count, std::size_t payload_bytes, std::vector<double>& samples) override;

 private:
  std::string folder_;
  std::unique_ptr<ChildProcess> daemon_;
  std::unique_ptr<ChildProcess> service_;
  sd_bus* bus_ = nullptr;
};

}  // namespace bench

#endif
