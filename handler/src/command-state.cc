// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "command-state.h"

#include <qor/handler.h>

#include <cmath>
#include <exception>
#include <utility>

#include "error-text.h"
#include "log.h"
#include "main-loop.h"

namespace qor::internal {

CommandState::CommandState(ReceivedCommand command, CommandKey key,
                           std::weak_ptr<CommandOwner> owner)
    : command_(std::move(command)),
      key_(std::make_shared<const CommandKey>(std::move(key))),
      owner_(std::move(owner)) {}

CommandState::~CommandState() {
  if (is_answered_) return;
  try {
    const bool taken =
        HandOver({false, ErrorText(ErrorCode::kDropped, "the handler dropped the command")});
    if (taken) {
      dlog_print(DLOG_WARN, kLogTag, "%s of %s was dropped, which fails it", command_.uuid.c_str(),
                 command_.agent.c_str());
    }
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "%s of %s was dropped without an answer: %s",
               command_.uuid.c_str(), command_.agent.c_str(), error.what());
  }
}

bool CommandState::End(Answer answer) {
  if (is_answered_.exchange(true)) {
    dlog_print(DLOG_WARN, kLogTag, "%s of %s has been answered, another answer is ignored",
               command_.uuid.c_str(), command_.agent.c_str());
    return false;
  }
  if (HandOver(std::move(answer))) return true;
  dlog_print(DLOG_WARN, kLogTag, "the answer of %s of %s is lost: the handler is ending",
             command_.uuid.c_str(), command_.agent.c_str());
  return false;
}

bool CommandState::AskForSeconds(double seconds) {
  if (!std::isfinite(seconds) || seconds <= 0 || is_answered_) {
    dlog_print(DLOG_WARN, kLogTag, "no agent is asked for %g s more for %s%s", seconds,
               command_.uuid.c_str(), is_answered_ ? ", which has been answered" : "");
    return false;
  }
  return MainLoop::Get().Ask([owner = owner_, key = key_, seconds] {
    const auto alive = owner.lock();
    return alive != nullptr && alive->AskForSeconds(*key, seconds);
  });
}

bool CommandState::HandOver(Answer answer) {
  return MainLoop::Get().Post([owner = owner_, key = key_, answer = std::move(answer)]() mutable {
    if (const auto alive = owner.lock()) alive->OnAnswer(*key, std::move(answer));
  });
}

}  // namespace qor::internal
