// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "command-state.h"

#include <cmath>
#include <exception>
#include <utility>

#include "json/json.h"
#include "log.h"
#include "main-loop.h"

namespace qor::internal {

Answer ErrorAnswer(ErrorCode code, const std::string& description) {
  json::StringBuffer text;
  json::Writer<rapidjson::kWriteValidateEncodingFlag> writer(text);
  writer.StartObject();
  writer.Key("ErrorCode");
  writer.Int(static_cast<int>(code));
  writer.Key("ErrorDomain");
  writer.String("QOR-HANDLER");
  writer.Key("ErrorDescription");
  const auto length = static_cast<rapidjson::SizeType>(description.size());
  if (!writer.String(description.data(), length)) return ErrorAnswer(code, "(invalid UTF-8)");
  writer.EndObject();
  return {false, text.GetString()};
}

CommandState::CommandState(ReceivedCommand command, CommandKey key,
                           std::weak_ptr<CommandOwner> owner)
    : command_(std::move(command)),
      key_(std::make_shared<const CommandKey>(std::move(key))),
      owner_(std::move(owner)) {}

CommandState::~CommandState() {
  if (is_answered_) return;
  try {
    if (Post(ErrorAnswer(ErrorCode::kDropped, "the handler dropped the command"))) {
      dlog_print(DLOG_WARN, kLogTag, "command %s of %s failed: dropped without an answer",
                 command_.uuid.c_str(), command_.agent.c_str());
    }
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot fail the dropped command %s of %s: %s",
               command_.uuid.c_str(), command_.agent.c_str(), error.what());
  }
}

bool CommandState::Complete(Answer answer) {
  if (is_answered_.exchange(true)) {
    dlog_print(DLOG_WARN, kLogTag, "ignoring another answer to command %s of %s",
               command_.uuid.c_str(), command_.agent.c_str());
    return false;
  }
  if (Post(std::move(answer))) return true;
  dlog_print(DLOG_WARN, kLogTag, "lost the answer to command %s of %s: the handler is exiting",
             command_.uuid.c_str(), command_.agent.c_str());
  return false;
}

bool CommandState::RequestExtension(double seconds) {
  if (!std::isfinite(seconds) || seconds <= 0 || is_answered_) {
    dlog_print(DLOG_WARN, kLogTag, "no extension of %g s requested for command %s: %s", seconds,
               command_.uuid.c_str(), is_answered_ ? "already answered" : "invalid duration");
    return false;
  }
  return MainLoop::Get().PostAndWait([owner = owner_, key = key_, seconds] {
    const auto alive = owner.lock();
    return alive != nullptr && alive->RequestExtension(*key, seconds);
  });
}

bool CommandState::Post(Answer answer) {
  return MainLoop::Get().Post([owner = owner_, key = key_, answer = std::move(answer)]() mutable {
    if (const auto alive = owner.lock()) alive->OnAnswer(*key, std::move(answer));
  });
}

}  // namespace qor::internal
