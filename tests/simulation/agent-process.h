// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_AGENT_PROCESS_H_
#define TESTS_SIMULATION_AGENT_PROCESS_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "disk.h"
#include "journal.h"
#include "router.h"
#include "scheduler.h"
#include "world.h"

namespace simulation {

// A process with the agent library's scheduler and journal over the whole router.
class AgentProcess final : private qor::agent::Router {
 public:
  // Both outlive this object.
  AgentProcess(World& world, Disk& disk);
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;
  ~AgentProcess() override;

  // Returns no result when the process is killed in the call.
  std::optional<int> Submit(const qor::agent::Command& command);
  // What the main loop does before it waits.
  void Run();

 private:
  void StartLibrary();
  void OpenJournal();
  qor::agent::Scheduler::Limits Limits();
  int Send(const qor::agent::Command& command) override;
  std::vector<std::vector<std::string>> RequestTypesOfHandlers() const override;
  void OnResponse(const std::string& uuid, int status, const std::string& result,
                  const std::string& error);
  bool OnExtensionRequest(const std::string& handler, const std::string& uuid, double seconds);
  void OnOutcome(const qor::agent::Command& command);
  void OnHandlersChanged();
  bool MayFailToWrite() const { return disk_.is_full || disk_.failing_syncs > 0; }
  void CheckWindow(const std::string& type) const;

  World& world_;
  Disk& disk_;
  const std::size_t window_;
  // Types by uuid. Installs may give two commands in flight a handler in common: what was sent
  // before is not counted. What waits for a disk to be sent cannot be told apart.
  std::map<std::string, std::string> in_flight_;
  bool is_window_checked_ = true;
  // The scheduler writes at once, and not a while after a failure.
  qor::agent::BootMs writes_from_ = 0;
  std::optional<qor::agent::Journal> journal_;
  std::optional<qor::agent::Scheduler> scheduler_;
};

}  // namespace simulation

#endif
