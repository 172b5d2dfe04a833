// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_AGENT_H_
#define QOR_AGENT_SRC_AGENT_H_

#include <Ecore.h>
#include <qor_agent.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "clock.h"
#include "external-loop.h"
#include "journal.h"
#include "router.h"
#include "scheduler.h"

namespace qor::agent {

// The scheduler on the main loop: runs it before each wait of the loop, and when it asks for it.
class Agent final : private Router {
 public:
  // Opens the journal and starts the library. Throws Error.
  explicit Agent(const qor_agent_settings_s& settings);
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;
  ~Agent() override;

  // These do what the functions of qor_agent.h say.
  std::vector<int> Submit(std::vector<Command> commands);
  int Confirm(const std::string& uuid);
  std::size_t Pending() const { return scheduler_.Pending(); }
  ExternalLoop& Loop() { return loop_; }

 private:
  // Counts Ecore's users, so that it outlives every member that needs it.
  struct EcoreUse {
    EcoreUse();
    EcoreUse(const EcoreUse&) = delete;
    EcoreUse& operator=(const EcoreUse&) = delete;
    ~EcoreUse();
  };

  int Send(const Command& command) override;
  std::vector<std::vector<std::string>> RequestTypesOfHandlers() const override;

  std::unique_ptr<Journal> OpenJournal() const;
  Scheduler::Limits LimitsOf() const;
  Scheduler::Observer ObserverOf() const;
  void StartLibrary();
  void SetCallbacks();
  void Log(const std::string& text) const;
  void ReportOutcome(const Command& command) const;
  // Runs `body` for C code, through which nothing may be thrown.
  template <typename Body>
  void Guard(const Body& body) const;
  void OnBeforeWait();
  void AddToMainLoop();
  void SetTimer();
  void Wake();
  void Stop();

  const qor_agent_settings_s settings_;
  const std::string journal_path_;
  const EcoreUse ecore_;
  const SystemClock clock_;
  const std::unique_ptr<Journal> journal_;
  Scheduler scheduler_;
  ExternalLoop loop_;
  Ecore_Idle_Enterer* before_wait_ = nullptr;
  Ecore_Timer* timer_ = nullptr;
  // The timer ends the next wait at once.
  bool is_due_ = false;
};

}  // namespace qor::agent

#endif
