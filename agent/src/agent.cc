// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <utility>

#include "error.h"

namespace qor::agent {

namespace {

constexpr double kMillisecondsPerSecond = 1000;
// The longest wait until the scheduler runs again: Ecore's clock, unlike the scheduler's, stands
// still while the device is suspended.
constexpr BootMs kMaxWaitMs = 3'600'000;

std::vector<std::string> RequestTypesOf(qor_handler_manager_handler_info_h info) {
  std::vector<std::string> result;
  char** types = nullptr;
  if (qor_handler_manager_handler_info_supported_request_types_get(info, &types) != 0)
    return result;
  for (; *types != nullptr; ++types) result.emplace_back(*types);
  return result;
}

void ThrowUnless(int result, const char* what) {
  if (result == QOR_HANDLER_MANAGER_ERROR_NONE) return;
  throw Error(result == QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY ? QOR_AGENT_ERROR_OUT_OF_MEMORY
                                                                : QOR_AGENT_ERROR_LIBRARY,
              std::string(what) + ": error " + std::to_string(result));
}

}  // namespace

Agent::EcoreUse::EcoreUse() {
  if (ecore_init() == 0) throw Error(QOR_AGENT_ERROR_LIBRARY, "cannot start Ecore");
}

Agent::EcoreUse::~EcoreUse() { ecore_shutdown(); }

Agent::Agent(const qor_agent_settings_s& settings)
    : settings_(settings),
      journal_path_(settings.journal != nullptr ? settings.journal : ""),
      journal_(journal_path_.empty() ? nullptr : OpenJournal()),
      scheduler_(LimitsOf(), clock_, *this, journal_.get(), ObserverOf()) {
  if (journal_ != nullptr) {
    journal_->Load([this](Command command) { scheduler_.Restore(std::move(command)); });
  }
  try {
    StartLibrary();
    scheduler_.OnHandlersChanged();
    AddToMainLoop();
  } catch (...) {
    Stop();
    throw;
  }
}

Agent::~Agent() {
  Stop();
  Guard([this] { scheduler_.Flush(); });
}

void Agent::AddToMainLoop() {
  // Before other idle enterers, so that those find the outcomes reported.
  before_wait_ = ecore_idle_enterer_before_add(
      [](void* self) -> Eina_Bool {
        static_cast<Agent*>(self)->OnBeforeWait();
        return ECORE_CALLBACK_RENEW;
      },
      this);
  // One timer for all times: none has to be created when a command was accepted.
  timer_ = ecore_timer_add(
      0, [](void*) -> Eina_Bool { return ECORE_CALLBACK_RENEW; }, nullptr);
  if (before_wait_ == nullptr || timer_ == nullptr) {
    throw Error(QOR_AGENT_ERROR_OUT_OF_MEMORY, "cannot create a timer");
  }
}

void Agent::Stop() {
  qor_handler_manager_shutdown();
  if (timer_ != nullptr) ecore_timer_del(timer_);
  if (before_wait_ != nullptr) ecore_idle_enterer_del(before_wait_);
}

std::vector<int> Agent::Submit(std::vector<Command> commands) {
  std::vector<int> results = scheduler_.Submit(std::move(commands));
  Wake();
  return results;
}

int Agent::Confirm(const std::string& uuid) {
  const int result = scheduler_.Confirm(uuid);
  Wake();
  return result;
}

// The caller may be an idle enterer that runs after ours.
void Agent::Wake() {
  if (!is_due_) SetTimer();
  loop_.Invalidate();
}

std::unique_ptr<Journal> Agent::OpenJournal() const {
  try {
    auto journal = std::make_unique<Journal>(journal_path_, clock_);
    // Damage shows when it is read.
    if (settings_.replace_damaged_journal) journal->Load([](const Command&) {});
    return journal;
  } catch (const Error& error) {
    Log(error.what());
    if (error.code() != QOR_AGENT_ERROR_JOURNAL_DAMAGED || !settings_.replace_damaged_journal) {
      throw;
    }
  }
  SetJournalAside(journal_path_);
  Log(journal_path_ + ": set aside as " + journal_path_ + ".damaged");
  return std::make_unique<Journal>(journal_path_, clock_);
}

Scheduler::Limits Agent::LimitsOf() const {
  Scheduler::Limits limits;
  if (settings_.window != 0) limits.window = settings_.window;
  if (settings_.max_commands != 0) limits.max_commands = settings_.max_commands;
  if (settings_.max_bytes != 0) limits.max_bytes = settings_.max_bytes;
  if (settings_.remember_ms != 0) limits.remember_ms = settings_.remember_ms;
  if (settings_.connection_timeout_ms != 0) limits.connection_ms = settings_.connection_timeout_ms;
  limits.max_extension_ms = settings_.max_extension_ms;
  return limits;
}

Scheduler::Observer Agent::ObserverOf() const {
  Scheduler::Observer observer;
  observer.on_outcome = [this](const Command& command) { ReportOutcome(command); };
  observer.on_log = [this](const std::string& text) { Log(text); };
  if (settings_.on_extension != nullptr) {
    observer.on_extension = [this](const std::string& handler, const std::string& uuid,
                                   double seconds) {
      return settings_.on_extension(handler.c_str(), uuid.c_str(), seconds, settings_.user_data);
    };
  }
  return observer;
}

void Agent::StartLibrary() {
  qor_handler_manager_configuration_h config = nullptr;
  ThrowUnless(qor_handler_manager_configuration_create(&config), "cannot make a configuration");
  qor_handler_manager_configuration_set_connection_timeout(config, LimitsOf().connection_ms);
  if (settings_.execution_timeout_ms != 0) {
    qor_handler_manager_configuration_set_command_execution_timeout(config,
                                                                    settings_.execution_timeout_ms);
  }
  const int result = qor_handler_manager_initialize(config);
  qor_handler_manager_configuration_destroy(config);
  ThrowUnless(result, "cannot start the library");
  SetCallbacks();
}

template <typename Body>
void Agent::Guard(const Body& body) const {
  try {
    body();
  } catch (const std::exception& error) {
    Log(error.what());
  }
}

void Agent::SetCallbacks() {
  ThrowUnless(qor_handler_manager_set_response_cb(
                  [](const char* uuid, qor_request_status_e status, const char* result,
                     int result_length, const char* error, int error_length, void* self) {
                    static_cast<Agent*>(self)->Guard([&] {
                      static_cast<Agent*>(self)->scheduler_.OnResponse(
                          uuid, static_cast<int>(status),
                          {result, static_cast<std::size_t>(result_length)},
                          {error, static_cast<std::size_t>(error_length)});
                    });
                  },
                  this),
              "cannot set a callback");
  ThrowUnless(qor_handler_manager_set_negotiate_request_cb(
                  [](const char* handler, const char* uuid, double seconds, void* self) -> int {
                    bool is_granted = false;
                    static_cast<Agent*>(self)->Guard([&] {
                      is_granted = static_cast<Agent*>(self)->scheduler_.OnExtensionRequest(
                          handler, uuid, seconds);
                    });
                    return is_granted ? 0 : 1;
                  },
                  this),
              "cannot set a callback");
  ThrowUnless(
      qor_handler_manager_set_handler_update_cb(
          [](qor_handler_update_type_e type, qor_handler_manager_handler_info_h info, void* data) {
            auto* const self = static_cast<Agent*>(data);
            self->Guard([self] { self->scheduler_.OnHandlersChanged(); });
            const auto& settings = self->settings_;
            if (settings.on_handler_update != nullptr) {
              settings.on_handler_update(type, info, settings.user_data);
            }
          },
          this),
      "cannot set a callback");
}

int Agent::Send(const Command& command) {
  return qor_handler_manager_send_command(
      command.uuid.c_str(), command.type.c_str(), command.payload.c_str(),
      static_cast<int>(command.payload.size()), static_cast<std::time_t>(command.timestamp));
}

std::vector<std::vector<std::string>> Agent::RequestTypesOfHandlers() const {
  std::vector<std::vector<std::string>> all;
  qor_handler_manager_foreach_handler_info(
      [](qor_handler_manager_handler_info_h info, void* data) {
        static_cast<decltype(all)*>(data)->push_back(RequestTypesOf(info));
        return true;
      },
      &all);
  return all;
}

void Agent::Log(const std::string& text) const {
  if (settings_.on_log != nullptr) settings_.on_log(text.c_str(), settings_.user_data);
}

void Agent::ReportOutcome(const Command& command) const {
  qor_agent_outcome_s outcome = {};
  outcome.size = sizeof outcome;
  outcome.uuid = command.uuid.c_str();
  outcome.request_type = command.type.c_str();
  outcome.kind = command.outcome.kind;
  outcome.reason = command.outcome.reason;
  outcome.status = command.outcome.status;
  outcome.result = command.outcome.result.c_str();
  outcome.error = command.outcome.error.c_str();
  outcome.is_amendment = command.outcome.is_amendment;
  settings_.on_outcome(&outcome, settings_.user_data);
}

void Agent::OnBeforeWait() {
  Guard([this] { scheduler_.Run(); });
  SetTimer();
}

// Makes the loop's wait end in time. A timer that is due at once makes it iterate again.
void Agent::SetTimer() {
  const BootMs wait = std::clamp<BootMs>(scheduler_.NextRun() - clock_.SinceBoot(), 0, kMaxWaitMs);
  is_due_ = wait == 0;
  ecore_timer_interval_set(timer_, static_cast<double>(wait) / kMillisecondsPerSecond);
  ecore_timer_reset(timer_);
}

}  // namespace qor::agent
