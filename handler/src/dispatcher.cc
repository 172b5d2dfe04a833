// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "dispatcher.h"

#include <exception>
#include <utility>

#include "error-text.h"
#include "log.h"

namespace qor::internal {

void Dispatcher::OnCommand(ReceivedCommand command) {
  CommandKey key(command);
  if (in_work_.count(key) != 0) {
    dlog_print(DLOG_INFO, kLogTag, "%s of %s is in work already", command.uuid.c_str(),
               command.agent.c_str());
    return;
  }
  if (auto answer = answers_.Find(key)) {
    dlog_print(DLOG_INFO, kLogTag, "%s of %s gets the answer it had", command.uuid.c_str(),
               command.agent.c_str());
    agents_.Send(command.agent, command.uuid, std::move(*answer));
    return;
  }
  in_work_.insert(key);
  Run(std::make_shared<CommandState>(std::move(command), std::move(key), weak_from_this()));
}

bool Dispatcher::IsWorkingFor(const std::string& agent) const {
  for (const auto& key : in_work_)
    if (key.agent == agent) return true;
  return false;
}

void Dispatcher::OnAnswer(const CommandKey& key, Answer answer) {
  in_work_.erase(key);
  answers_.Keep(key, answer);
  agents_.Send(key.agent, key.uuid, std::move(answer));
}

bool Dispatcher::AskForSeconds(const CommandKey& key, double seconds) {
  return agents_.AskForSeconds(key.agent, key.uuid, seconds);
}

void Dispatcher::Run(const std::shared_ptr<CommandState>& state) {
  const std::string& type = state->command().type;
  const auto function = functions_.find(type);
  if (function == functions_.end()) {
    dlog_print(DLOG_WARN, kLogTag, "no function was named for the request type %s", type.c_str());
    state->End(
        {false, ErrorText(ErrorCode::kNoFunction, "this handler has no code for it: " + type)});
    return;
  }
  const auto fail = [&](const char* what) {
    dlog_print(DLOG_ERROR, kLogTag, "the function for %s threw: %s", type.c_str(), what);
    if (!state->IsAnswered()) state->End({false, ErrorText(ErrorCode::kFunctionThrew, what)});
  };
  try {
    function->second(Command(state));
  } catch (const std::exception& error) {
    fail(error.what());
  } catch (...) {
    fail("something that is no std::exception");
  }
}

}  // namespace qor::internal
