// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_DRIVER_H_
#define TESTS_MODEL_DRIVER_H_

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "client.h"
#include "handler-peer.h"
#include "observation.h"
#include "operation.h"

namespace model {

// Runs operations with the library over the fake platform. The constructor resets the platform, the
// destructor shuts the library down.
class Driver {
 public:
  Driver();
  ~Driver();
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;

  Observation Apply(const Operation& operation);

 private:
  struct Connection {
    std::string app;
    int slot;
    support::HandlerPeer peer;
    std::size_t seen_deliveries = 0;
  };

  void Execute(const Operation& operation);
  void Listen(model::Listen listen);
  void Configure(const Operation& operation);
  void Send(const Operation& operation);
  void ShutDown();
  void Connect(const Operation& operation);
  void Call(const Operation& operation);
  void Return(int code) { observation_.returned.push_back(std::to_string(code)); }
  void React();
  Connection* Find(const Operation& operation);

  void ObserveDeliveries();
  void ObserveLaunches();
  void ObservePlatform();

  support::Client client_;
  int connects_ = 0;
  bool started_ = false;
  std::list<Connection> connections_;  // oldest first
  // Call counts of the platform: cheaper to compare than its lists of launches and deliveries.
  int seen_requests_ = 0;
  int seen_sends_ = 0;
  std::size_t seen_launches_ = 0;
  Operation reaction_;
  int negotiation_answer_ = 0;
  Observation observation_;
};

}  // namespace model

#endif
