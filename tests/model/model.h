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

// The reference model: a second, simpler implementation of the library with its client, its
// handlers and the package database. Shares no code with the library.
class Model : private Environment {
 public:
  // Returns whether the operation is possible now: no second connection of a slot, no call on a
  // missing connection.
  bool Allows(const Operation& operation) const;
  Observation Apply(const Operation& operation);

  // State for the generator of operations.
  bool IsStarted() const { return router_ != nullptr; }
  bool IsConnected(const std::string& app, int slot) const {
    return connections_.count({app, slot}) > 0;
  }
  bool HasPackage(const std::string& id) const { return packages_.count(id) > 0; }
  // The pending commands of a handler, oldest first.
  std::vector<std::string> PendingUuids(const std::string& app) const;
  const Clock& Time() const { return clock_; }

 private:
  using Connection = std::pair<std::string, int>;

  void Execute(const Operation& operation);
  void Start();
  void Configure(const Operation& operation);
  void Listen(model::Listen listen);
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

  void Respond(const std::string& text) override;
  int Negotiate(const std::string& text) override;
  void NotifyUpdate(const std::string& text) override;
  void Launch(const std::string& app) override;
  void Deliver(const std::string& instance, const std::string& text) override;

  Clock clock_;
  int last_block_ = 0;
  int connects_ = 0;
  std::map<std::string, Package> packages_;
  // Survives shutdown and tracks package events until the next start, like the library's.
  std::shared_ptr<Registry> registry_;
  std::shared_ptr<Router> router_;
  std::map<Connection, std::string> connections_;  // instance names
  std::multiset<std::string> database_{kNoDatabase};

  // State of the current operation.
  Failure failure_ = Failure::kNone;
  int negotiation_answer_ = 0;
  Observation observation_;
  std::vector<std::pair<std::string, std::string>> deliveries_;
  // Of the next callback.
  Operation reaction_;
};

}  // namespace model

#endif
