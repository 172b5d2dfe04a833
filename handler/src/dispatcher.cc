// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "dispatcher.h"

#include <exception>
#include <utility>

#include "log.h"

namespace qor::internal {

void Dispatcher::OnCommand(ReceivedCommand command) {
  CommandKey key(command);
  if (in_flight_.count(key) != 0) {
    dlog_print(DLOG_INFO, kLogTag, "ignoring command %s of %s: already in flight",
               command.uuid.c_str(), command.agent.c_str());
    return;
  }
  if (auto answer = answers_.Find(key)) {
    dlog_print(DLOG_INFO, kLogTag, "sending the stored answer to command %s of %s again",
               command.uuid.c_str(), command.agent.c_str());
    sender_.Send(command.agent, command.uuid, std::move(*answer));
    return;
  }
  in_flight_.insert(key);
  Run(std::make_shared<CommandState>(std::move(command), std::move(key), weak_from_this()));
}

bool Dispatcher::HasCommandsInFlight(const std::string& agent) const {
  for (const auto& key : in_flight_)
    if (key.agent == agent) return true;
  return false;
}

void Dispatcher::OnAnswer(const CommandKey& key, Answer answer) {
  in_flight_.erase(key);
  // Before sending: a crash in between must not run the command again.
  answers_.Store(key, answer);
  sender_.Send(key.agent, key.uuid, std::move(answer));
}

bool Dispatcher::RequestExtension(const CommandKey& key, double seconds) {
  return sender_.RequestExtension(key.agent, key.uuid, seconds);
}

void Dispatcher::Run(const std::shared_ptr<CommandState>& state) {
  const std::string& type = state->command().type;
  const auto function = functions_.find(type);
  if (function == functions_.end()) {
    dlog_print(DLOG_WARN, kLogTag, "no function for request type %s", type.c_str());
    state->Complete(ErrorAnswer(ErrorCode::kNoFunction, "no function for request type: " + type));
    return;
  }
  const auto fail = [&](const char* what) {
    dlog_print(DLOG_ERROR, kLogTag, "the function for %s threw: %s", type.c_str(), what);
    if (!state->IsAnswered()) state->Complete(ErrorAnswer(ErrorCode::kFunctionThrew, what));
  };
  try {
    function->second(Command(state));
  } catch (const std::exception& error) {
    fail(error.what());
  } catch (...) {
    fail("unknown exception");
  }
}

}  // namespace qor::internal
