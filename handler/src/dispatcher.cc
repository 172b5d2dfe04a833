// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "dispatcher.h"

#include <exception>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

// Runs of a command that ended with the process before it is taken for the cause.
constexpr std::int64_t kMaxUnfinishedRuns = 3;

}  // namespace

void Dispatcher::OnCommand(ReceivedCommand received) {
  CommandKey key(received);
  if (in_flight_.count(key) != 0) {
    dlog_print(DLOG_INFO, kLogTag, "ignoring command %s of %s: already in flight",
               received.uuid.c_str(), received.agent.c_str());
    return;
  }
  StoredCommand stored = store_.Find(key);
  if (stored.answer) {
    dlog_print(DLOG_INFO, kLogTag, "sending the stored answer to command %s of %s again",
               received.uuid.c_str(), received.agent.c_str());
    sender_.Send(received.agent, received.uuid, std::move(*stored.answer));
    return;
  }
  const auto type = types_.find(received.type);
  in_flight_[key] = type != types_.end() ? type->second.policy : Policy::kAtLeastOnce;
  const auto command = std::make_shared<CommandState>(
      std::move(received), std::move(key), stored.state.value_or(std::string()), weak_from_this());
  if (stored.unfinished_runs == 0) {
    Start(command, stored);
  } else if (suspect_) {
    waiting_suspects_.emplace_back(command, std::move(stored));
  } else {
    suspect_ = command->key();
    Start(command, stored);
  }
}

bool Dispatcher::HasCommandsInFlight(const std::string& agent) const {
  for (const auto& [key, policy] : in_flight_)
    if (key.agent == agent) return true;
  return false;
}

void Dispatcher::OnAnswer(const CommandKey& key, Answer answer) {
  // Before sending: a crash in between must not run the command again.
  store_.Complete(key, in_flight_.at(key), answer);
  Finish(key);
  sender_.Send(key.agent, key.uuid, std::move(answer));
}

bool Dispatcher::OnSuspend(const CommandKey& key, const std::string& state) {
  if (!store_.Suspend(key, state)) return false;
  Finish(key);
  return true;
}

void Dispatcher::Finish(const CommandKey& key) {
  in_flight_.erase(key);
  const bool is_suspect = suspect_ && !(*suspect_ < key) && !(key < *suspect_);
  if (!is_suspect) return;
  suspect_.reset();
  if (waiting_suspects_.empty()) return;
  const auto [command, stored] = std::move(waiting_suspects_.front());
  waiting_suspects_.pop_front();
  suspect_ = command->key();
  Start(command, stored);
}

bool Dispatcher::RequestExtension(const CommandKey& key, double seconds) {
  return sender_.RequestExtension(key.agent, key.uuid, seconds);
}

void Dispatcher::Stop() {
  // Those have not begun.
  for (const auto& [command, stored] : waiting_suspects_) in_flight_.erase(command->key());
  for (const auto& [key, policy] : in_flight_) {
    if (policy == Policy::kAtLeastOnce) store_.Withdraw(key);
  }
}

void Dispatcher::Start(const Command& command, const StoredCommand& stored) {
  const std::string& name = command->command().type;
  const auto found = types_.find(name);
  if (found == types_.end()) {
    return Fail(command, ErrorCode::kNoFunction, "no function for request type: " + name);
  }
  const RequestType& type = found->second;
  const bool is_resumed = stored.state.has_value() && type.resume != nullptr;
  const bool has_begun = stored.state.has_value() || stored.unfinished_runs > 0;
  if (type.policy == Policy::kAtMostOnce && has_begun && !is_resumed) {
    return Fail(command, ErrorCode::kInterrupted, "interrupted, effect unknown");
  }
  if (stored.unfinished_runs >= kMaxUnfinishedRuns) {
    return Fail(command, ErrorCode::kCrashed,
                "the handler ended three times while the command was in flight");
  }
  if (!store_.Begin(command->key(), type.policy)) {
    // Never run: its failure is an answer like any other, which may be evicted.
    if (!has_begun) in_flight_[command->key()] = Policy::kAtLeastOnce;
    return Fail(command, ErrorCode::kNotRecorded, "not run: cannot record that it begins");
  }
  Run(command, is_resumed ? type.resume : type.run);
}

void Dispatcher::Run(const Command& command, const Handler::Function& function) {
  const auto fail = [&](const char* what) {
    dlog_print(DLOG_ERROR, kLogTag, "the function for %s threw: %s",
               command->command().type.c_str(), what);
    if (!command->IsClosed()) command->Complete(ErrorAnswer(ErrorCode::kFunctionThrew, what));
  };
  try {
    function(qor::Command(command));
  } catch (const std::exception& error) {
    fail(error.what());
  } catch (...) {
    fail("unknown exception");
  }
}

void Dispatcher::Fail(const Command& command, ErrorCode code, const std::string& description) {
  dlog_print(DLOG_WARN, kLogTag, "command %s of %s failed: %s", command->command().uuid.c_str(),
             command->command().agent.c_str(), description.c_str());
  command->Complete(ErrorAnswer(code, description));
}

}  // namespace qor::internal
