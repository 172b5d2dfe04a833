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

// Receives the router's output. The client's callbacks may call the router again.
class Environment {
 public:
  virtual ~Environment() = default;
  // Callbacks of the client.
  virtual void Respond(const std::string& text) = 0;
  virtual int Negotiate(const std::string& text) = 0;
  virtual void NotifyUpdate(const std::string& text) = 0;
  // Throws Error when a platform function fails.
  virtual void Launch(const std::string& app) = 0;
  virtual void Deliver(const std::string& instance, const std::string& text) = 0;
};

// A failed operation of the library, with the code that it returns.
struct Error {
  int code;
};

// The callback that a handler has registered for its commands.
struct Callback {
  std::string instance;
  int sequence = 0;
  bool once = false;
  bool used = false;
};

class Router {
 public:
  // All must outlive the router, the registry only until ShutDown().
  Router(Environment* environment, Clock* clock, int* last_block, const Registry* registry)
      : environment_(environment), clock_(clock), last_block_(last_block), registry_(registry) {}

  void Configure(int execution_timeout, int connection_timeout);
  void Listen(Listen listen) { listening_[listen] = true; }
  // Destroys the commands.
  void ShutDown();

  void Send(const Operation& operation);
  void OnConnected(const std::string& app);
  void OnDisconnected(const std::string& app) { connected_.erase(app); }
  void OnFetch(const std::string& app, const Callback& callback);
  void OnAnswer(const std::string& app, const Operation& answer);
  bool Negotiate(const std::string& app, const std::string& uuid, double seconds);
  void OnRegistryChanged(int update, const Handler& handler);

  // Called when a timer bound to this position fires.
  void Fire(Position position);

  const std::map<std::string, Pending>& AllPending() const { return pending_; }

 private:
  // The callbacks of connected handlers; `instance` is empty until the handler fetches commands.
  using Connections = std::map<std::string, Callback>;

  Pending& PendingOf(const std::string& app);
  Command* Find(const std::string& app, const std::string& uuid);
  void Deliver(Callback* callback, const Command& command);
  void StartTimer(Pending* pending, Command* command, int milliseconds);
  void OnTimeout(const std::string& app, const std::string& uuid, Timeout timeout);

  Environment* environment_;
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
