// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "simulation.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "fake-platform.h"
#include "handler-package.h"

namespace simulation {

namespace {

using qor::agent::Command;
using Lifetime = qor::internal::AgentLink::Lifetime;

constexpr int kMaxOperations = 40;
constexpr int kMaxDeadlineMs = 120'000;
constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kDay = 24 * 3600 * kSecond;

std::string UuidOf(fake::ParcelReader delivery) {
  delivery.Int32();  // kind
  delivery.Int32();  // callback
  delivery.Int32();  // its sequence number
  delivery.Bool();   // once
  return delivery.String();
}

}  // namespace

Simulation::Simulation(std::uint64_t seed)
    : world_(seed),
      handlers_{{{{"org.example.first",
                   "first",
                   {kAtMostOnce, kAtLeastOnce, kResumed},
                   Lifetime::kOnDemand},
                  nullptr},
                 {{"org.example.second", "second", {kAtLeastOnce, kLate}, Lifetime::kPersistent},
                  nullptr}}} {
  RegisterDisks(seed);
  fake::Reset();
  fake::SetReplyWaiter([this](const std::string& link) { DeliverUntilReply(link); });
  agent_disk_.on_death = [] { fake::SetAlive("", false); };
  for (Handler& handler : handlers_) {
    handler.app.disk.on_death = [&handler] { fake::SetAlive(handler.app.id, false); };
  }
  Install(handlers_[0]);
  StartAgent();
}

Simulation::~Simulation() {
  agent_disk_.KillAt(0);
  for (Handler& handler : handlers_) {
    handler.app.disk.KillAt(0);
    handler.process.reset();
  }
  agent_.reset();
}

void Simulation::Run(int cuts) {
  pending_cuts_ = cuts;
  while (pending_cuts_ > 0) {
    Act();
    BuryDead();
    world_.ledger.ThrowIfViolated();
  }
  Settle();
  world_.ledger.CheckEnd();
  world_.ledger.ThrowIfViolated();
}

void Simulation::Act() {
  switch (world_.Below(20)) {
    case 0:
    case 1:
    case 2:
      return Submit();
    case 3:
      return world_.OneIn(4) ? SubmitConflict() : SubmitAgain();
    case 4:
    case 5:
    case 6:
    case 7:
      return Complete();
    case 8:
      return Cut();
    case 9:
      return FillDisk();
    case 10:
      return BreakConnection();
    case 11:
      if (world_.OneIn(4)) SetClock();
      return;
    case 12:
      if (world_.OneIn(4)) ChangePackages(true);
      return;
    case 13:
      if (world_.OneIn(4)) EndHandler();
      return;
    case 14:
      return Advance(world_.Below(60'000));
    default:
      return Advance(world_.Below(1500));
  }
}

Command Simulation::NewCommand(const std::string& type) {
  Command command;
  command.uuid = std::to_string(next_uuid_++);
  command.type = type;
  command.payload = "{}";
  command.deadline_wall = world_.clock.wall + kMaxDeadlineMs;
  return command;
}

void Simulation::Submit() {
  const char* const types[] = {kAtMostOnce, kAtLeastOnce, kResumed, kLate};
  Command command = NewCommand(world_.OneIn(16) ? kUnserved : types[world_.Below(4)]);
  command.deadline_wall -= world_.Below(kMaxDeadlineMs);
  command.policy = world_.OneIn(2) ? QOR_AGENT_AT_MOST_ONCE : QOR_AGENT_AT_LEAST_ONCE;
  command.waits_for_handler = world_.OneIn(command.type == kLate ? 2 : 4);
  world_.ledger.OnSubmitted(command, agent_->Submit(command));
}

// As a server that has not seen the acceptance or the outcome.
void Simulation::SubmitAgain() {
  if (world_.ledger.Size() == 0) return;
  Command command = world_.ledger.CommandAt(
      static_cast<std::size_t>(world_.Below(static_cast<int>(world_.ledger.Size()))));
  command.deadline_wall = world_.clock.wall + 60'000;
  world_.ledger.OnSubmitted(command, agent_->Submit(command));
}

void Simulation::SubmitConflict() {
  if (world_.ledger.Size() == 0) return;
  Command command = world_.ledger.CommandAt(
      static_cast<std::size_t>(world_.Below(static_cast<int>(world_.ledger.Size()))));
  command.payload = "another";
  // A rejected one changes nothing; one that the agent has forgotten must not be accepted here.
  command.deadline_wall = world_.clock.wall - 1;
  if (const auto result = agent_->Submit(command)) {
    world_.ledger.OnConflictingSubmission(command.uuid, *result);
  }
}

void Simulation::Complete() {
  Handler& handler = Any();
  if (!handler.process || !handler.process->HasCommands()) return;
  const bool is_suspended = handler.process->CompleteOne();
  // As a handler does that restarts the device.
  if (is_suspended && pending_cuts_ > 0 && world_.OneIn(2)) {
    --pending_cuts_;
    CutPower();
  }
}

void Simulation::FillDisk() {
  const bool is_agents = world_.OneIn(2);
  Disk& disk = is_agents ? agent_disk_ : Any().app.disk;
  disk.is_full = world_.OneIn(4);
  // A journal whose disk fails twice in a row cannot withdraw what it has rejected.
  disk.failing_syncs = world_.OneIn(8) ? 1 + world_.Below(is_agents ? 1 : 3) : 0;
  if (disk.is_full || disk.failing_syncs > 0) world_.ledger.OnDiskFull();
}

void Simulation::BreakConnection() {
  const auto links = fake::Links();
  if (links.empty() || !world_.OneIn(3)) return;
  const auto& link = links[static_cast<std::size_t>(world_.Below(static_cast<int>(links.size())))];
  world_.ledger.Trace("break " + link);
  world_.ledger.OnDisturbance();
  fake::Break(link);
}

// As a user or a time server does.
void Simulation::SetClock() {
  const std::int64_t steps[] = {60 * kSecond, 7200 * kSecond, 30 * kDay, 20'000 * kDay};
  const std::int64_t step = steps[world_.Below(4)];
  const bool is_back = world_.clock.wall > step && world_.OneIn(2);
  world_.clock.wall += is_back ? -step : step;
  world_.ledger.Trace("clock set to " + std::to_string(world_.clock.wall));
}

void Simulation::ChangePackages(bool with_events) {
  Handler& handler = Any();
  if (!handler.app.is_installed) {
    Install(handler);
    if (with_events) support::RaiseInstalled(support::PackageOf(handler.app.id));
  } else if (world_.OneIn(2)) {
    Uninstall(handler, with_events);
  } else {
    Update(handler, with_events);
  }
}

void Simulation::Install(Handler& handler) {
  world_.ledger.Trace("install " + handler.app.id);
  world_.ledger.OnHandlersChanged();
  handler.app.is_installed = true;
  ++handler.app.installations;
  support::InstallHandler(handler.app.id, handler.app.types);
}

void Simulation::Uninstall(Handler& handler, bool with_events) {
  world_.ledger.Trace("uninstall " + handler.app.id);
  world_.ledger.OnHandlersChanged();
  const std::string package = support::PackageOf(handler.app.id);
  if (with_events) support::RaiseUninstalling(package);
  Kill(handler);
  fake::Uninstall(package);
  handler.app.is_installed = false;
  handler.app.disk.files.clear();
  world_.ledger.OnUninstalled();
}

// To a version with other request types, if the handler has such.
void Simulation::Update(Handler& handler, bool with_events) {
  world_.ledger.Trace("update " + handler.app.id);
  world_.ledger.OnHandlersChanged();
  Kill(handler);
  auto& types = handler.app.types;
  if (types.back() == kLate) {
    types = types.size() == 1 ? std::vector<std::string>{kAtLeastOnce, kLate}
                              : std::vector<std::string>{kLate};
  }
  support::InstallHandler(handler.app.id, types);
  if (with_events) support::RaiseUpdated(support::PackageOf(handler.app.id));
}

void Simulation::Kill(Handler& handler) {
  handler.app.disk.KillAt(0);
  handler.process.reset();
  handler.app.disk.Revive(false, world_.random);
  fake::SetAlive(handler.app.id, true);
}

// As the platform ends applications that it no longer needs.
void Simulation::EndHandler() { Any().process.reset(); }

void Simulation::Cut() {
  --pending_cuts_;
  const int operation = world_.Below(kMaxOperations);
  switch (world_.Below(3)) {
    case 0:
      return agent_disk_.KillAt(operation);
    case 1:
      return Any().app.disk.KillAt(operation);
    default:
      return CutPower();
  }
}

void Simulation::CutPower() {
  world_.ledger.OnPowerCut();
  agent_disk_.KillAt(0);
  for (Handler& handler : handlers_) {
    handler.app.disk.KillAt(0);
    handler.process.reset();
    handler.app.disk.Revive(true, world_.random);
    fake::SetAlive(handler.app.id, true);
  }
  agent_.reset();
  agent_disk_.Revive(true, world_.random);
  ++world_.clock.boot;
  world_.clock.since_boot = world_.Below(60'000);
  world_.clock.wall += world_.Below(60'000);
  if (world_.OneIn(8)) SetClock();
  world_.ledger.OnBooted();
  StartAgent();
}

void Simulation::StartAgent() {
  fake::SetAlive("", true);
  agent_ = std::make_unique<AgentProcess>(world_, agent_disk_);
}

void Simulation::BuryDead() {
  for (Handler& handler : handlers_) {
    if (handler.app.disk.IsDead()) Kill(handler);
  }
  if (!agent_disk_.IsDead()) return;
  agent_.reset();
  world_.ledger.Trace("agent killed");
  agent_disk_.Revive(false, world_.random);
  if (world_.has_faults && world_.OneIn(8)) ChangePackages(false);
  StartAgent();
}

void Simulation::Advance(std::int64_t milliseconds) {
  world_.clock.wall += milliseconds;
  world_.clock.since_boot += milliseconds;
  fake::Advance(static_cast<double>(milliseconds) / 1000);
  agent_->Run();
  StartLaunched();
  DeliverMessages();
  agent_->Run();
}

void Simulation::StartLaunched() {
  const auto launches = fake::Launches();
  for (; launches_ < launches.size(); ++launches_) {
    Handler* const handler = Find(launches[launches_].app_id);
    if (!handler->app.is_installed || handler->app.disk.IsDead()) continue;
    if (!handler->process) {
      // Some do not start.
      if (world_.has_faults && world_.OneIn(8)) continue;
      handler->process = std::make_unique<HandlerProcess>(world_, handler->app);
    }
    handler->process->OnLaunchRequest();
  }
}

void Simulation::DeliverMessages() {
  for (;;) {
    // Some messages take longer.
    if (world_.has_faults && world_.OneIn(64)) return;
    if (world_.has_faults && world_.OneIn(128)) BreakConnection();
    if (DeliverOne()) continue;
    fake::RunIdleEnterers();
    if (!DeliverOne()) break;
  }
  if (!agent_disk_.IsDead()) world_.ledger.CheckAnswersArrived();
}

bool Simulation::DeliverOne() {
  const auto links = fake::Links();
  const std::size_t choices = 2 * links.size();
  if (choices == 0) return false;
  const auto first = static_cast<std::size_t>(world_.Below(static_cast<int>(choices)));
  for (std::size_t i = 0; i < choices; ++i) {
    const std::size_t choice = (first + i) % choices;
    if (Deliver(links[choice / 2], choice % 2 == 0)) return true;
  }
  return false;
}

bool Simulation::Deliver(const std::string& link, bool is_to_stub) {
  if (is_to_stub) return !agent_disk_.IsDead() && fake::DeliverToStub(link);
  Handler* const handler = Find(link.substr(0, link.find('#')));
  if (handler->app.disk.IsDead()) return false;
  if (const auto delivery = fake::NextToProxy(link)) {
    world_.ledger.OnDelivered(UuidOf(*delivery), fake::IsConnected(link));
  }
  return fake::DeliverToProxy(link);
}

// The agent works while a handler waits.
void Simulation::DeliverUntilReply(const std::string& link) {
  const auto may_break = [&] {
    if (!world_.has_faults || !world_.OneIn(32)) return;
    world_.ledger.Trace("break " + link);
    world_.ledger.OnDisturbance();
    fake::Break(link);
  };
  may_break();
  while (Deliver(link, true)) {
  }
  // What the agent has accepted may be unacknowledged.
  may_break();
}

void Simulation::Settle() {
  world_.ledger.Trace("settle");
  world_.has_faults = false;
  agent_disk_.KillAt(-1);
  agent_disk_.is_full = false;
  agent_disk_.failing_syncs = 0;
  for (Handler& handler : handlers_) {
    handler.app.disk.KillAt(-1);
    handler.app.disk.is_full = false;
    handler.app.disk.failing_syncs = 0;
  }
  Work();
  Advance(world_.ledger.LastDeadline() + 1 - world_.clock.since_boot);
  SubmitLast();
  Work();
  // What is not confirmed is reported again.
  agent_disk_.KillAt(0);
  BuryDead();
  SubmitLast();
  Work();
}

void Simulation::Work() {
  for (int i = 0; i < 20; ++i) {
    Advance(2 * kSecond);
    for (Handler& handler : handlers_) {
      while (handler.process && handler.process->HasCommands()) handler.process->CompleteOne();
    }
  }
}

void Simulation::SubmitLast() {
  for (const Handler& handler : handlers_) {
    if (!handler.app.is_installed) continue;
    for (int i = 0; i < 3; ++i) {
      const Command command = NewCommand(handler.app.types.front());
      world_.ledger.OnSubmitted(command, agent_->Submit(command));
      world_.ledger.OnLastCommand(command.uuid);
    }
  }
}

Simulation::Handler* Simulation::Find(const std::string& app_id) {
  const auto found = std::find_if(handlers_.begin(), handlers_.end(),
                                  [&](const Handler& handler) { return handler.app.id == app_id; });
  return found != handlers_.end() ? &*found : nullptr;
}

}  // namespace simulation
