// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handler-process.h"

#include <cstddef>

#include "fake-platform.h"
#include "main-loop.h"

namespace simulation {

namespace {

constexpr char kState[] = "state";

bool IsAtMostOnce(const std::string& type) { return type != kAtLeastOnce; }

}  // namespace

HandlerProcess::HandlerProcess(World& world, HandlerApp& app) : world_(world), app_(app) {
  world_.ledger.Trace(app_.id + " starts");
  const fake::ProcessScope process(app_.id);
  for (const std::string& type : app_.types) {
    types_[type].run = [this](const qor::Command& command) { OnCommand(command, false); };
    types_[type].policy = IsAtMostOnce(type) ? qor::Policy::kAtMostOnce : qor::Policy::kAtLeastOnce;
    if (type != kResumed) continue;
    types_[type].resume = [this](const qor::Command& command) { OnCommand(command, true); };
  }
  qor::internal::MainLoop::Get().Open();
  session_.emplace(types_, app_.store, qor::AnswerLimits{},
                   [this] { return world_.clock.wall / 1000; });
}

HandlerProcess::~HandlerProcess() {
  const fake::ProcessScope process(app_.id);
  // All processes have this one loop.
  qor::internal::MainLoop::Get().Close();
  session_.reset();
  commands_.clear();
  qor::internal::MainLoop::Get().Open();
  world_.ledger.Trace(app_.id + " ended");
  world_.ledger.OnHandlerEnded();
}

void HandlerProcess::OnLaunchRequest() {
  const fake::ProcessScope process(app_.id);
  session_->OnFetchRequested(kAgent, app_.lifetime);
}

void HandlerProcess::OnCommand(const qor::Command& command, bool is_resumed) {
  // What a dead process would do has no effect.
  if (app_.disk.IsDead()) return;
  world_.ledger.Check(is_resumed == (command.State() == kState),
                      "command " + command.Uuid() + " has the wrong state");
  if (is_resumed) {
    world_.ledger.Trace("resume " + command.Uuid());
  } else {
    world_.ledger.OnRun(app_.Installation(), command.Uuid(), IsAtMostOnce(command.Type()));
  }
  commands_.push_back(command);
  if (world_.OneIn(4)) command.AskForSeconds(1 + world_.Below(60));
}

bool HandlerProcess::CompleteOne() {
  const fake::ProcessScope process(app_.id);
  const auto chosen = commands_.begin() +
                      static_cast<std::ptrdiff_t>(world_.Below(static_cast<int>(commands_.size())));
  const qor::Command command = *chosen;
  commands_.erase(chosen);
  if (command.Type() == kResumed && command.State().empty() && world_.OneIn(2) &&
      command.Suspend(kState)) {
    world_.ledger.OnSuspended(command.Uuid());
    return true;
  }
  Answer(command);
  return false;
}

void HandlerProcess::Answer(const qor::Command& command) {
  const std::string text = command.Uuid() + '#' + std::to_string(world_.random());
  const bool succeeds = !world_.OneIn(4);
  world_.ledger.OnAnswer(command.Uuid(), succeeds, text);
  const bool is_answered = succeeds ? command.Succeed(text) : command.Fail(text);
  if (is_answered && !app_.disk.IsDead()) world_.ledger.OnAnswered(command.Uuid());
}

}  // namespace simulation
