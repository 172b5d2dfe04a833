// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_PEERS_DBUS_BUS_H_
#define QOR_BENCH_PEERS_DBUS_BUS_H_

#include <memory>
#include <string>

#include "support/child-process.h"

struct sd_bus;

namespace bench {

// A private bus. The constructors of the implementations throw std::runtime_error when it fails to
// start.
class DBusBus {
 public:
  virtual ~DBusBus() = default;
  virtual std::string Address() const = 0;
};

// The reference implementation, with its socket in `folder`.
class DBusDaemon : public DBusBus {
 public:
  explicit DBusDaemon(const std::string& folder);
  std::string Address() const override { return address_; }

 private:
  std::string address_;
  std::unique_ptr<ChildProcess> process_;
};

// The fast implementation, which receives its socket and policy from a launcher. This class is the
// launcher, because the regular one needs a running systemd.
class DBusBroker : public DBusBus {
 public:
  explicit DBusBroker(const std::string& folder);
  DBusBroker(const DBusBroker&) = delete;
  DBusBroker& operator=(const DBusBroker&) = delete;
  ~DBusBroker() override;
  std::string Address() const override { return address_; }

 private:
  std::string address_;
  sd_bus* controller_ = nullptr;
  std::unique_ptr<ChildProcess> process_;
};

// Throws std::runtime_error with `what` when `result` is a negative sd-bus error.
void RequireDBus(int result, const char* what);

}  // namespace bench

#endif
