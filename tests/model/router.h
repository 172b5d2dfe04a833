// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_ROUTER_H_
#define TESTS_MODEL_ROUTER_H_

#include <map>
#include <memory>
#include <string>

#include "observation.h"
#include "operation.h"
#include "pending.h"
#include "registry.h"

namespace model {

// Where the router's doings go. The first three tell the client, which may call back.
class Outside {
 public:
  virtual ~Outside() = default;
  virtual void Respond(const std::string& words) = 0;
  virtual int Negotiate(const std::string& words) = 0;
  virtual void TellUpdate(const std::string& words) = 0;
  // Throws when a platform function fails.
  virtual void Launch(const std::string& app) = 0;
  virtual void Deliver(const std::string& instance, const std::string& words) = 0;
};

// Thrown by what fails.
struct Failed {
  int code;
};

// How a handler wants its commands.
struct Callback {
  std::string instance;
  int sequence = 0;
  bool once = false;
  bool used = false;
};

class Router {
 public:
  // All outlive the router, the registry until ShutDown().
  Router(Outside* outside, Clock* clock, int* last_block, const Registry* registry)
      : outside_(outside), clock_(clock), last_block_(last_block), registry_(registry) {}

  void Configure(int execution_timeout, int connection_timeout);
  void Listen(Listen listen) { listening_[listen] = true; }
  // Destroys the commands.
  void ShutDown();

  void Send(const Operation& operation);
  void Connected(const std::string& app);
  void Disconnected(const std::string& app) { connected_.erase(app); }
  void Fetched(const std::string& app, const Callback& callback);
  void Answered(const std::string& app, const Operation& answer);
  bool Negotiate(const std::string& app, const std::string& uuid, double seconds);
  void RegistryChanged(int update, const Handler& handler);

  // A timer that is bound to this place has fired.
  void Fire(Place place);

  const std::map<std::string, Pending>& AllPending() const { return pending_; }

 private:
  // What is known of a connected handler; no instance while it has not asked for commands.
  using Connections = std::map<std::string, Callback>;

  Pending& PendingOf(const std::string& app);
  Command* Find(const std::string& app, const std::string& uuid);
  void Deliver(Callback* callback, const Command& command);
  void StartTimer(Pending* pending, Command* command, int milliseconds);
  void TimedOut(const std::string& app, const std::string& uuid, Timeout timeout);

  Outside* outside_;
  Clock* clock_;
  int* last_block_;
  const Registry* registry_;
  Connections connected_;
  std::map<std::string, Pending> pending_;
  std::map<model::Listen, bool> listening_;
  int execution_timeout_ = 3000;
  int connection_timeout_ = 5000;
};

}  // namespace model

#endif
