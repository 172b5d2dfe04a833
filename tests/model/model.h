// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_MODEL_H_
#define TESTS_MODEL_MODEL_H_

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "clock.h"
#include "observation.h"
#include "operation.h"
#include "registry.h"
#include "router.h"

namespace model {

// The library, its client, its handlers and the package database, written a second time and
// simpler. Shares no code with the library.
class Model : private Outside {
 public:
  // Whether the operation is one that the world can do now: no connection twice, no call on one
  // that there is not.
  bool Allows(const Operation& operation) const;
  Observation Apply(const Operation& operation);

  // For those who look for interesting operations.
  bool IsStarted() const { return router_ != nullptr; }
  bool IsConnected(const std::string& app, int slot) const {
    return connections_.count({app, slot}) > 0;
  }
  bool HasPackage(const std::string& id) const { return packages_.count(id) > 0; }
  // The commands that wait at a handler, in order.
  std::vector<std::string> PendingUuids(const std::string& app) const;
  const Clock& Time() const { return clock_; }

 private:
  using Connection = std::pair<std::string, int>;

  void Do(const Operation& operation);
  void Start();
  void ShutDown();
  void Send(const Operation& operation);
  void RaiseEvent(const Operation& operation);
  void Apply(const Operation& operation, const HandlerPointer& handler);
  void Connect(const Operation& operation);
  void Disconnect(const Connection& connection);
  void Call(const Operation& operation);
  void Return(int code) { observation_.returned.push_back(std::to_string(code)); }
  void WriteDatabase();
  void React();
  Observation Finish();

  void Respond(const std::string& words) override;
  int Negotiate(const std::string& words) override;
  void TellUpdate(const std::string& words) override;
  void Launch(const std::string& app) override;
  void Deliver(const std::string& instance, const std::string& words) override;

  Clock clock_;
  int last_block_ = 0;
  int connects_ = 0;
  std::map<std::string, Package> packages_;
  // Outlives a shut-down and follows the packages until the next start.
  std::shared_ptr<Registry> registry_;
  std::shared_ptr<Router> router_;
  std::map<Connection, std::string> connections_;  // names of the instances
  std::multiset<std::string> database_{kNoDatabase};

  // Of the running operation.
  Failure failure_ = Failure::kNone;
  int negotiation_answer_ = 0;
  Observation observation_;
  std::vector<std::pair<std::string, std::string>> deliveries_;
  // Until a callback comes.
  Operation reaction_;
};

}  // namespace model

#endif
