// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_SIMULATION_H_
#define TESTS_SIMULATION_SIMULATION_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent-process.h"
#include "disk.h"
#include "handler-process.h"
#include "world.h"

namespace simulation {

// An agent and two handler applications, each with a disk, driven by a random number generator: the
// agent library's scheduler and journal over the whole router, and the SDK with its connections,
// over the fake platform. Each process may be killed at any operation of its disk and between any
// two actions, and the power may fail, which takes all of them and what they had not synchronized.
// Connections break with what is on its way, handlers are installed, updated and uninstalled, the
// clock is set, disks are full and the server submits again.
class Simulation {
 public:
  explicit Simulation(std::uint64_t seed);
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;
  ~Simulation();

  // Runs random actions with this many kills and power cuts, then lets everything end and checks
  // it. Throws Violation.
  void Run(int cuts);
  const std::vector<std::string>& Trace() const { return world_.ledger.Lines(); }

 private:
  // A handler application and its process, if it is running.
  struct Handler {
    HandlerApp app;
    std::unique_ptr<HandlerProcess> process;
  };

  void Act();
  void Submit();
  qor::agent::Command NewCommand(const std::string& type);
  void SubmitAgain();
  void SubmitConflict();
  void Complete();
  void FillDisk();
  void BreakConnection();
  void SetClock();
  void ChangePackages(bool with_events);
  void EndHandler();
  void Cut();
  void CutPower();

  void Advance(std::int64_t milliseconds);
  void StartLaunched();
  void DeliverMessages();
  bool DeliverOne();
  bool Deliver(const std::string& link, bool is_to_stub);
  void DeliverUntilReply(const std::string& link);

  void Install(Handler& handler);
  void Uninstall(Handler& handler, bool with_events);
  void Update(Handler& handler, bool with_events);
  // Ends a process that is alive as if it had been killed.
  void Kill(Handler& handler);
  void StartAgent();
  // Ends the processes whose disks say that they are dead.
  void BuryDead();
  void Settle();
  // Works for a while and completes every command.
  void Work();
  // Last commands for each handler, which must be answered.
  void SubmitLast();

  Handler& Any() { return handlers_[static_cast<std::size_t>(world_.Below(2))]; }
  Handler* Find(const std::string& app_id);

  World world_;
  Disk agent_disk_{"agent"};
  std::unique_ptr<AgentProcess> agent_;
  std::array<Handler, 2> handlers_;
  int next_uuid_ = 1;
  std::size_t launches_ = 0;
  int pending_cuts_ = 0;
};

}  // namespace simulation

#endif
