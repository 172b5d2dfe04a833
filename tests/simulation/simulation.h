// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_SIMULATION_H_
#define TESTS_SIMULATION_SIMULATION_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "clock.h"
#include "command-store.h"
#include "disk.h"
#include "dispatcher.h"
#include "handler-peer.h"
#include "journal.h"
#include "router.h"
#include "scheduler.h"

namespace simulation {

// A violated promise.
class Violation : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One clock for both processes. A power cut starts the time since the boot anew.
class VirtualClock final : public qor::agent::Clock {
 public:
  qor::agent::WallMs Wall() const override { return wall; }
  qor::agent::BootMs SinceBoot() const override { return since_boot; }
  std::string BootId() const override { return std::to_string(boot); }

  qor::agent::WallMs wall = 1'700'000'000'000;
  qor::agent::BootMs since_boot = 10'000;
  int boot = 1;
};

// An agent and a handler application, each with a disk, driven by a random number generator: the
// agent library's scheduler and journal over the whole router, and the SDK's dispatcher and store.
// Either process may be killed at any operation of its disk and between any two actions, and the
// power may fail, which takes both and what they had not synchronized.
//
// What really happened is known here, and compared with what is reported.
class Simulation final : private qor::agent::Router, private qor::internal::AgentSender {
 public:
  explicit Simulation(std::uint64_t seed);
  Simulation(const Simulation&) = delete;
  Simulation& operator=(const Simulation&) = delete;
  ~Simulation() override;

  // Runs random actions with this many kills and power cuts, then lets everything end and checks
  // it. Throws Violation.
  void Run(int cuts);
  const std::vector<std::string>& Trace() const { return trace_; }

 private:
  // What is known of a command.
  struct Known {
    qor::agent::Command command;
    // False when the process was killed in the call: the journal may have it or not.
    bool was_accepted = false;
    // Handed to the library, or on the journal as that when the process was killed.
    bool was_sent = false;
    int deliveries = 0;
    int runs = 0;
    bool is_suspended = false;
    // Submitted again after the agent had forgotten it, as it may.
    bool is_forgotten = false;
    std::set<std::string> results;
    std::set<std::string> errors;
    std::optional<qor_agent_outcome_kind_e> reported;
    bool was_amended = false;
    bool was_confirmed = false;
  };

  // The agent's process.
  void StartAgent();
  void EndAgent();
  int Send(const qor::agent::Command& command) override;
  std::vector<std::vector<std::string>> RequestTypesOfHandlers() const override;
  void RunScheduler();
  void OnOutcome(const qor::agent::Command& command);

  // The handler's process.
  void StartHandler();
  void EndHandler();
  void Connect();
  void ReceiveDeliveries();
  void SendAnswers();
  void Send(const std::string& agent, const std::string& uuid,
            qor::internal::Answer answer) override;
  bool RequestExtension(const std::string& agent, const std::string& uuid, double seconds) override;
  void OnCommand(const qor::Command& command, bool is_resumed);
  void Complete(std::size_t index);

  // Actions.
  void Act();
  void Submit();
  void SubmitAgain();
  void Advance(std::int64_t milliseconds);
  void Cut();
  void CutPower();
  // Ends the processes whose disks say that they are dead.
  void BuryDead();
  void Settle();
  void CheckEnd();
  // Records the first violation. It is thrown between two actions, since much is called from code
  // that handles exceptions.
  void Check(bool condition, const std::string& violation);
  void ThrowIfViolated() const;

  void Trace(const std::string& text);
  int Below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

  std::mt19937_64 random_;
  VirtualClock clock_;
  std::map<std::string, Known> known_;
  std::vector<std::string> trace_;
  std::string violation_;
  int next_uuid_ = 1;
  int next_instance_ = 1;
  bool is_settling_ = false;

  Disk agent_disk_{"agent"};
  std::optional<qor::agent::Journal> journal_;
  std::optional<qor::agent::Scheduler> scheduler_;

  Disk handler_disk_{"handler"};
  qor::internal::Dispatcher::RequestTypes types_;
  std::optional<qor::internal::CommandStore> store_;
  std::shared_ptr<qor::internal::Dispatcher> dispatcher_;
  std::optional<support::HandlerPeer> peer_;
  std::size_t received_ = 0;
  std::vector<qor::Command> open_;
  std::deque<std::pair<std::string, qor::internal::Answer>> unsent_;
  std::size_t launches_ = 0;
  int pending_cuts_ = 0;
};

}  // namespace simulation

#endif
