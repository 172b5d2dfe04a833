// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-process.h"

#include <qor_handler_manager.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include "common/timeout-errors.h"
#include "error.h"

namespace simulation {

namespace {

using qor::agent::Command;
using qor::agent::Scheduler;

constexpr char kJournal[] = "/agent/journal.db";
constexpr std::int64_t kMaxExtensionMs = 30'000;
// As long as the scheduler waits after a failed write.
constexpr qor::agent::BootMs kWriteRetryMs = 1000;

}  // namespace

AgentProcess::AgentProcess(World& world, Disk& disk)
    : world_(world),
      disk_(disk),
      window_(static_cast<std::size_t>(world.OneIn(2) ? 1 : 2 + world.Below(4))) {
  world_.ledger.Trace("agent starts");
  world_.ledger.OnAgentStarts();
  StartLibrary();
  OpenJournal();
  scheduler_->OnHandlersChanged();
}

AgentProcess::~AgentProcess() {
  scheduler_.reset();
  journal_.reset();
  qor_handler_manager_shutdown();
}

void AgentProcess::StartLibrary() {
  qor_handler_manager_configuration_h config = nullptr;
  qor_handler_manager_configuration_create(&config);
  qor_handler_manager_initialize(config);
  qor_handler_manager_configuration_destroy(config);
  qor_handler_manager_set_response_cb(
      [](const char* uuid, qor_request_status_e status, const char* result, int result_length,
         const char* error, int error_length, void* self) {
        static_cast<AgentProcess*>(self)->OnResponse(
            uuid, status, {result, static_cast<std::size_t>(result_length)},
            {error, static_cast<std::size_t>(error_length)});
      },
      this);
  qor_handler_manager_set_negotiate_request_cb(
      [](const char* handler, const char* uuid, double seconds, void* self) -> int {
        return static_cast<AgentProcess*>(self)->OnExtensionRequest(handler, uuid, seconds) ? 0 : 1;
      },
      this);
  qor_handler_manager_set_handler_update_cb(
      [](qor_handler_update_type_e, qor_handler_manager_handler_info_h, void* self) {
        static_cast<AgentProcess*>(self)->OnHandlersChanged();
      },
      this);
}

void AgentProcess::OpenJournal() {
  const Scheduler::Limits limits = Limits();
  Scheduler::Observer observer;
  observer.on_outcome = [this](const Command& command) { OnOutcome(command); };
  while (!scheduler_) {
    const bool may_fail = MayFailToWrite();
    try {
      journal_.emplace(kJournal, world_.clock);
      scheduler_.emplace(limits, world_.clock, static_cast<Router&>(*this), &*journal_, observer);
      journal_->Load([this](Command command) {
        world_.ledger.OnRestored(command);
        scheduler_->Restore(std::move(command));
      });
    } catch (const qor::agent::Error& error) {
      scheduler_.reset();
      journal_.reset();
      if (!may_fail) {
        qor_handler_manager_shutdown();
        throw Violation(std::string("cannot open the journal: ") + error.what());
      }
      // A full disk: an operator makes room.
      disk_.is_full = false;
      disk_.failing_syncs = 0;
    }
  }
  world_.ledger.OnAgentStarted();
}

Scheduler::Limits AgentProcess::Limits() {
  Scheduler::Limits limits;
  limits.window = window_;
  limits.remember_ms = kRememberMs;
  limits.max_extension_ms = kMaxExtensionMs;
  return limits;
}

std::optional<int> AgentProcess::Submit(const Command& command) {
  const int result = scheduler_->Submit({command}).front();
  if (disk_.IsDead()) return std::nullopt;
  return result;
}

void AgentProcess::Run() {
  if (disk_.IsDead()) return;
  const bool may_fail = MayFailToWrite();
  scheduler_->Run();
  if (disk_.IsDead()) return;
  if (may_fail) writes_from_ = world_.clock.since_boot + kWriteRetryMs;
  if (world_.clock.since_boot >= writes_from_) world_.ledger.CheckDeadlines();
}

int AgentProcess::Send(const Command& command) {
  if (disk_.IsDead()) return 0;
  world_.ledger.OnSent(command);
  in_flight_[command.uuid] = command.type;
  if (is_window_checked_) CheckWindow(command.type);
  const int result = qor_handler_manager_send_command(
      command.uuid.c_str(), command.type.c_str(), command.payload.c_str(),
      static_cast<int>(command.payload.size()), static_cast<std::time_t>(command.timestamp));
  if (result != QOR_HANDLER_MANAGER_ERROR_NONE) in_flight_.erase(command.uuid);
  return result;
}

void AgentProcess::CheckWindow(const std::string& type) const {
  for (const auto& types : RequestTypesOfHandlers()) {
    const auto serves = [&types](const std::string& name) {
      return std::find(types.begin(), types.end(), name) != types.end();
    };
    if (!serves(type)) continue;
    const auto count = std::count_if(in_flight_.begin(), in_flight_.end(),
                                     [&](const auto& entry) { return serves(entry.second); });
    world_.ledger.Check(static_cast<std::size_t>(count) <= window_,
                        "more commands of " + type + " are in flight than the window admits");
  }
}

std::vector<std::vector<std::string>> AgentProcess::RequestTypesOfHandlers() const {
  std::vector<std::vector<std::string>> all;
  qor_handler_manager_foreach_handler_info(
      [](qor_handler_manager_handler_info_h info, void* data) {
        char** types = nullptr;
        qor_handler_manager_handler_info_supported_request_types_get(info, &types);
        auto& handler = static_cast<decltype(all)*>(data)->emplace_back();
        for (; *types != nullptr; ++types) handler.emplace_back(*types);
        return true;
      },
      &all);
  return all;
}

void AgentProcess::OnResponse(const std::string& uuid, int status, const std::string& result,
                              const std::string& error) {
  if (disk_.IsDead()) return;
  in_flight_.erase(uuid);
  if (common::TimeoutOf(error) == common::Timeout::kNone) world_.ledger.OnAnswerReceived(uuid);
  scheduler_->OnResponse(uuid, status, result, error);
}

bool AgentProcess::OnExtensionRequest(const std::string& handler, const std::string& uuid,
                                      double seconds) {
  const bool is_granted = scheduler_->OnExtensionRequest(handler, uuid, seconds);
  if (is_granted) world_.ledger.OnExtended(uuid, seconds);
  return is_granted;
}

void AgentProcess::OnHandlersChanged() {
  in_flight_.clear();
  if (MayFailToWrite() || world_.clock.since_boot < writes_from_) is_window_checked_ = false;
  scheduler_->OnHandlersChanged();
}

void AgentProcess::OnOutcome(const Command& command) {
  if (disk_.IsDead()) return;
  in_flight_.erase(command.uuid);
  world_.ledger.OnOutcome(command);
  if (world_.has_faults && world_.OneIn(2)) return;
  world_.ledger.Check(scheduler_->Confirm(command.uuid) == QOR_AGENT_ERROR_NONE,
                      "command " + command.uuid + " cannot be confirmed");
  world_.ledger.OnConfirmed(command.uuid);
}

}  // namespace simulation
