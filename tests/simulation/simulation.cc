// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "simulation.h"

#include <qor_handler_manager.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include "error.h"
#include "fake-platform.h"
#include "handler-package.h"
#include "main-loop.h"

namespace simulation {

namespace {

using qor::agent::Command;
using qor::agent::Scheduler;

constexpr char kHandler[] = "org.example.handler";
constexpr char kAgent[] = "agent";
constexpr char kAtMostOnce[] = "once";
constexpr char kAtLeastOnce[] = "again";
constexpr char kResumed[] = "resumed";
constexpr char kJournal[] = "/agent/journal.db";
constexpr char kStore[] = "/handler/answers.db";
constexpr int kMaxOperations = 40;
constexpr std::int64_t kRememberMs = 30'000;
constexpr std::int64_t kMaxExtensionMs = 30'000;

}  // namespace

Simulation::Simulation(std::uint64_t seed) : random_(seed) {
  RegisterDisks(seed);
  fake::Reset();
  support::InstallHandler(kHandler, {kAtMostOnce, kAtLeastOnce, kResumed});
  const auto run = [this](const qor::Command& command) { OnCommand(command, false); };
  types_[kAtMostOnce] = {run, nullptr, qor::Policy::kAtMostOnce};
  types_[kAtLeastOnce] = {run, nullptr, qor::Policy::kAtLeastOnce};
  types_[kResumed] = {run, [this](const qor::Command& command) { OnCommand(command, true); },
                      qor::Policy::kAtMostOnce};
  StartAgent();
}

Simulation::~Simulation() {
  agent_disk_.KillAt(0);
  handler_disk_.KillAt(0);
  EndHandler();
  EndAgent();
}

void Simulation::Run(int cuts) {
  pending_cuts_ = cuts;
  while (pending_cuts_ > 0) {
    Act();
    BuryDead();
    ThrowIfViolated();
  }
  Settle();
  CheckEnd();
  ThrowIfViolated();
}

void Simulation::Check(bool condition, const std::string& violation) {
  if (!condition && violation_.empty()) violation_ = violation;
}

void Simulation::ThrowIfViolated() const {
  if (!violation_.empty()) throw Violation(violation_);
}

void Simulation::Act() {
  switch (Below(16)) {
    case 0:
    case 1:
    case 2:
      return Submit();
    case 3:
      return SubmitAgain();
    case 4:
    case 5:
    case 6:
      if (!open_.empty()) Complete(static_cast<std::size_t>(Below(static_cast<int>(open_.size()))));
      return;
    case 7:
      return Cut();
    case 8:
      agent_disk_.is_full = Below(4) == 0;
      return;
    case 9:
      handler_disk_.is_full = Below(4) == 0;
      return;
    case 10:
      if (peer_ && Below(3) == 0) {
        Trace("disconnected");
        peer_->Disconnect();
        peer_.reset();
      }
      return;
    case 11:
      return Advance(Below(60'000));
    default:
      return Advance(Below(1500));
  }
}

void Simulation::Submit() {
  if (!scheduler_) return;
  const char* const types[] = {kAtMostOnce, kAtLeastOnce, kResumed, "unserved"};
  Command command;
  command.uuid = std::to_string(next_uuid_++);
  command.type = types[Below(16) == 0 ? 3 : Below(3)];
  command.payload = "{}";
  command.deadline_wall = clock_.wall + 1 + Below(120'000);
  command.policy = Below(2) == 0 ? QOR_AGENT_AT_MOST_ONCE : QOR_AGENT_AT_LEAST_ONCE;
  command.waits_for_handler = Below(4) == 0;
  const int result = scheduler_->Submit({command}).front();
  // A process that is killed in the call has no result: the command may be in the journal or not.
  Trace("submit " + command.uuid + " " + command.type +
        (agent_disk_.IsDead() ? " killed" : " = " + std::to_string(result)));
  Known& known = known_[command.uuid];
  known.command = command;
  known.was_accepted = !agent_disk_.IsDead() && result == QOR_AGENT_ERROR_NONE;
}

// As a server that has not seen the acceptance.
void Simulation::SubmitAgain() {
  if (!scheduler_ || known_.empty()) return;
  auto any = known_.begin();
  std::advance(any, Below(static_cast<int>(known_.size())));
  Command command = any->second.command;
  command.deadline_wall = clock_.wall + 60'000;
  const int result = scheduler_->Submit({command}).front();
  Known& known = any->second;
  Trace("submit " + command.uuid + " again" +
        (agent_disk_.IsDead() ? " killed" : " = " + std::to_string(result)));
  const bool may_be_forgotten =
      known.was_confirmed && clock_.wall >= known.command.deadline_wall + kRememberMs;
  // No promise holds after this. Killed in the call, the journal may have it or not.
  const bool may_be_accepted = agent_disk_.IsDead() || result == QOR_AGENT_ERROR_NONE;
  if (may_be_forgotten && may_be_accepted) known.is_forgotten = true;
  if (agent_disk_.IsDead() || may_be_forgotten) return;
  if (known.was_accepted) {
    Check(result == QOR_AGENT_ERROR_ALREADY_KNOWN,
          "command " + command.uuid + " was accepted twice: " + std::to_string(result));
  }
  if (result == QOR_AGENT_ERROR_NONE) {
    known.was_accepted = true;
    known.command = command;
  }
}

void Simulation::Advance(std::int64_t milliseconds) {
  clock_.wall += milliseconds;
  clock_.since_boot += milliseconds;
  fake::Advance(static_cast<double>(milliseconds) / 1000);
  RunScheduler();
  if (fake::Launches().size() != launches_) {
    launches_ = fake::Launches().size();
    if (!dispatcher_ && Below(8) != 0) StartHandler();
    if (!peer_) Connect();
  }
  const bool is_needed =
      dispatcher_ && (dispatcher_->HasCommandsInFlight(kAgent) || !unsent_.empty());
  if (is_needed && !peer_ && Below(2) == 0) Connect();
  ReceiveDeliveries();
  SendAnswers();
  RunScheduler();
}

void Simulation::Cut() {
  --pending_cuts_;
  const int operation = Below(kMaxOperations);
  switch (Below(3)) {
    case 0:
      agent_disk_.KillAt(operation);
      break;
    case 1:
      handler_disk_.KillAt(operation);
      break;
    default:
      CutPower();
  }
}

void Simulation::CutPower() {
  Trace("power cut");
  agent_disk_.KillAt(0);
  handler_disk_.KillAt(0);
  EndHandler();
  EndAgent();
  agent_disk_.Revive(true, random_);
  handler_disk_.Revive(true, random_);
  ++clock_.boot;
  clock_.since_boot = Below(60'000);
  clock_.wall += Below(60'000);
  StartAgent();
}

void Simulation::BuryDead() {
  if (handler_disk_.IsDead()) {
    Trace("handler killed");
    EndHandler();
    handler_disk_.Revive(false, random_);
  }
  if (agent_disk_.IsDead()) {
    Trace("agent killed");
    EndAgent();
    agent_disk_.Revive(false, random_);
    StartAgent();
  }
}

// Everything works again, until every command has ended.
void Simulation::Settle() {
  Trace("settle");
  is_settling_ = true;
  agent_disk_.KillAt(-1);
  handler_disk_.KillAt(-1);
  agent_disk_.is_full = handler_disk_.is_full = false;
  for (int i = 0; i < 100; ++i) {
    Advance(2'000);
    while (!open_.empty()) Complete(0);
  }
}

void Simulation::CheckEnd() {
  Check(scheduler_->Pending() == 0, "commands have no outcome after their deadline");
  for (const auto& [uuid, known] : known_) {
    Check(known.reported.has_value() || !known.was_accepted || known.is_forgotten,
          "command " + uuid + " was lost");
    if (known.reported == QOR_AGENT_NOT_DELIVERED && !known.is_forgotten) {
      Check(known.runs == 0, "command " + uuid + " ran and was reported as not delivered");
    }
  }
}

// The agent's process.

void Simulation::StartAgent() {
  qor_handler_manager_configuration_h config = nullptr;
  qor_handler_manager_configuration_create(&config);
  qor_handler_manager_initialize(config);
  qor_handler_manager_configuration_destroy(config);
  qor_handler_manager_set_response_cb(
      [](const char* uuid, qor_request_status_e status, const char* result, int result_length,
         const char* error, int error_length, void* self) {
        auto& simulation = *static_cast<Simulation*>(self);
        if (!simulation.scheduler_) return;
        simulation.scheduler_->OnResponse(uuid, status,
                                          {result, static_cast<std::size_t>(result_length)},
                                          {error, static_cast<std::size_t>(error_length)});
      },
      this);
  qor_handler_manager_set_negotiate_request_cb(
      [](const char* handler, const char* uuid, double seconds, void* self) -> int {
        auto& simulation = *static_cast<Simulation*>(self);
        return simulation.scheduler_->OnExtensionRequest(handler, uuid, seconds) ? 0 : 1;
      },
      this);
  Scheduler::Limits limits;
  limits.window = static_cast<std::size_t>(Below(2) == 0 ? 1 : 4);
  limits.remember_ms = kRememberMs;
  limits.max_extension_ms = kMaxExtensionMs;
  Scheduler::Observer observer;
  observer.on_outcome = [this](const Command& command) { OnOutcome(command); };
  for (bool is_open = false; !is_open;) {
    try {
      journal_.emplace(kJournal, clock_);
      scheduler_.emplace(limits, clock_, static_cast<Router&>(*this), &*journal_, observer);
      journal_->Load([this](Command command) {
        if (command.state == qor::agent::State::kSent) known_.at(command.uuid).was_sent = true;
        scheduler_->Restore(std::move(command));
      });
      is_open = true;
    } catch (const qor::agent::Error& error) {
      // A full disk: an operator makes room.
      Check(agent_disk_.is_full, std::string("cannot open the journal: ") + error.what());
      agent_disk_.is_full = false;
      scheduler_.reset();
      journal_.reset();
    }
  }
  scheduler_->OnHandlersChanged();
}

void Simulation::EndAgent() {
  scheduler_.reset();
  journal_.reset();
  qor_handler_manager_shutdown();
  peer_.reset();
}

int Simulation::Send(const Command& command) {
  if (agent_disk_.IsDead()) return 0;
  Trace("send " + command.uuid);
  Known& known = known_.at(command.uuid);
  Check(command.policy == QOR_AGENT_AT_LEAST_ONCE || known.deliveries == 0 || known.is_forgotten,
        "at-most-once command " + command.uuid + " was sent again");
  known.was_sent = true;
  return qor_handler_manager_send_command(
      command.uuid.c_str(), command.type.c_str(), command.payload.c_str(),
      static_cast<int>(command.payload.size()), static_cast<std::time_t>(command.timestamp));
}

std::vector<std::vector<std::string>> Simulation::RequestTypesOfHandlers() const {
  return {{kAtMostOnce, kAtLeastOnce, kResumed}};
}

void Simulation::RunScheduler() {
  if (scheduler_ && !agent_disk_.IsDead()) scheduler_->Run();
}

void Simulation::OnOutcome(const Command& command) {
  if (agent_disk_.IsDead()) return;
  Trace("outcome " + command.uuid + " = " + std::to_string(command.outcome.kind) +
        (command.outcome.is_amendment ? " amended" : ""));
  Known& known = known_.at(command.uuid);
  if (known.is_forgotten) {
    scheduler_->Confirm(command.uuid);
    return;
  }
  const std::string name = "command " + command.uuid;
  const auto& outcome = command.outcome;
  switch (outcome.kind) {
    case QOR_AGENT_SUCCEEDED:
      Check(known.results.count(outcome.result) != 0, name + " has another's result");
      break;
    case QOR_AGENT_FAILED:
      Check(!outcome.error.empty(), name + " failed without an error");
      break;
    case QOR_AGENT_NOT_DELIVERED:
      Check(known.runs == 0, name + " ran and was reported as not delivered");
      break;
    case QOR_AGENT_UNKNOWN:
      Check(known.was_sent, name + " is unknown, but was never sent");
      break;
  }
  if (outcome.is_amendment) {
    Check(known.reported.has_value(), name + " was amended before it was reported");
    known.was_amended = true;
  } else {
    Check(!known.reported || *known.reported == outcome.kind || known.was_amended,
          name + " has two outcomes");
  }
  known.reported = outcome.kind;
  if (is_settling_ || Below(2) == 0) {
    known.was_confirmed = true;
    Check(scheduler_->Confirm(command.uuid) == 0, name + " cannot be confirmed");
  }
}

// The handler's process.

void Simulation::StartHandler() {
  Trace("handler starts");
  qor::internal::MainLoop::Get().Open();
  store_.emplace(kStore, qor::AnswerLimits{}, [this] { return clock_.wall / 1000; });
  dispatcher_ = std::make_shared<qor::internal::Dispatcher>(types_, *store_,
                                                            static_cast<AgentSender&>(*this));
}

void Simulation::EndHandler() {
  if (!dispatcher_) return;
  qor::internal::MainLoop::Get().Close();
  open_.clear();
  unsent_.clear();
  dispatcher_.reset();
  store_.reset();
  if (peer_) peer_->Disconnect();
  peer_.reset();
}

void Simulation::Connect() {
  if (!dispatcher_ || !fake::IsListening()) return;
  Trace("connected");
  peer_.emplace(kHandler, std::to_string(next_instance_++));
  received_ = 0;
  SendAnswers();
  if (peer_ && fake::IsConnected(peer_->Instance())) peer_->Fetch();
}

void Simulation::ReceiveDeliveries() {
  if (!peer_ || !dispatcher_) return;
  const auto deliveries = peer_->Deliveries();
  while (received_ < deliveries.size() && !handler_disk_.IsDead()) {
    const auto& delivery = deliveries[received_++];
    Trace("deliver " + delivery.uuid);
    ++known_.at(delivery.uuid).deliveries;
    dispatcher_->OnCommand(
        {kAgent, delivery.uuid, delivery.request_type, delivery.payload, delivery.timestamp});
  }
}

void Simulation::Send(const std::string&, const std::string& uuid, qor::internal::Answer answer) {
  if (handler_disk_.IsDead()) return;
  Trace("answer " + uuid + (answer.succeeded ? " +" : " -"));
  const bool is_interrupted = answer.text.find("\"ErrorCode\":3004") != std::string::npos;
  Check(!is_interrupted || !known_.at(uuid).is_suspended,
        "suspended command " + uuid + " was not resumed");
  unsent_.emplace_back(uuid, std::move(answer));
}

void Simulation::SendAnswers() {
  while (peer_ && !unsent_.empty()) {
    const auto& [uuid, answer] = unsent_.front();
    const std::string& text = answer.text;
    const int result =
        answer.succeeded ? peer_->Answer(uuid, text, 0, "") : peer_->Answer(uuid, "", 1, text);
    if (result != 0) return peer_.reset();
    unsent_.pop_front();
  }
}

bool Simulation::RequestExtension(const std::string&, const std::string& uuid, double seconds) {
  return peer_ && peer_->Negotiate(uuid, seconds) == 0 && peer_->LastReply().value_or(false);
}

void Simulation::OnCommand(const qor::Command& command, bool is_resumed) {
  // What a dead process would do has no effect.
  if (handler_disk_.IsDead()) return;
  Trace((is_resumed ? "resume " : "run ") + command.Uuid());
  Known& known = known_.at(command.Uuid());
  if (!is_resumed) ++known.runs;
  Check(is_resumed == (command.State() == "state"),
        "command " + command.Uuid() + " has the wrong state");
  Check(command.Type() == kAtLeastOnce || known.runs <= 1,
        "at-most-once command " + command.Uuid() + " ran twice");
  if (Below(4) == 0) command.AskForSeconds(1 + Below(60));
  open_.push_back(command);
}

void Simulation::Complete(std::size_t index) {
  const qor::Command command = open_[index];
  open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(index));
  Known& known = known_.at(command.Uuid());
  if (command.Type() == kResumed && command.State().empty() && Below(2) == 0) {
    Trace("suspend " + command.Uuid());
    known.is_suspended = command.Suspend("state");
    if (known.is_suspended) {
      // As a handler does that restarts the device.
      if (pending_cuts_ > 0 && Below(2) == 0) {
        --pending_cuts_;
        CutPower();
      }
      return;
    }
  }
  const std::string text = command.Uuid() + '#' + std::to_string(random_());
  if (Below(4) == 0) {
    known.errors.insert(text);
    command.Fail(text);
  } else {
    known.results.insert(text);
    command.Succeed(text);
  }
  SendAnswers();
}

void Simulation::Trace(const std::string& text) {
  trace_.push_back(std::to_string(clock_.boot) + ':' + std::to_string(clock_.since_boot) + ' ' +
                   text);
}

}  // namespace simulation
