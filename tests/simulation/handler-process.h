// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_HANDLER_PROCESS_H_
#define TESTS_SIMULATION_HANDLER_PROCESS_H_

#include <qor/handler.h>

#include <optional>
#include <string>
#include <vector>

#include "agent-link.h"
#include "disk.h"
#include "dispatcher.h"
#include "session.h"
#include "world.h"

namespace simulation {

// A handler application.
struct HandlerApp {
  HandlerApp(std::string app_id, const std::string& disk_name,
             std::vector<std::string> request_types,
             qor::internal::AgentLink::Lifetime link_lifetime)
      : id(std::move(app_id)),
        disk(disk_name),
        types(std::move(request_types)),
        lifetime(link_lifetime),
        store('/' + disk_name + "/answers.db") {}

  // Changes with each installation.
  std::string Installation() const { return id + '/' + std::to_string(installations); }

  const std::string id;
  Disk disk;
  std::vector<std::string> types;
  const qor::internal::AgentLink::Lifetime lifetime;
  const std::string store;
  bool is_installed = false;
  int installations = 0;
};

// A process of a handler application with the whole SDK but its main function. Its functions keep
// their commands, to be completed later.
class HandlerProcess {
 public:
  // Both outlive this object.
  HandlerProcess(World& world, HandlerApp& app);
  HandlerProcess(const HandlerProcess&) = delete;
  HandlerProcess& operator=(const HandlerProcess&) = delete;
  ~HandlerProcess();

  // The agent launches the application, which may be running.
  void OnLaunchRequest();
  bool HasCommands() const { return !commands_.empty(); }
  // Completes or suspends a command. Returns whether it was suspended.
  bool CompleteOne();

 private:
  void OnCommand(const qor::Command& command, bool is_resumed);
  void Answer(const qor::Command& command);

  World& world_;
  HandlerApp& app_;
  qor::internal::Dispatcher::RequestTypes types_;
  std::optional<qor::internal::Session> session_;
  std::vector<qor::Command> commands_;
};

}  // namespace simulation

#endif
