// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "command-state.h"

#include <cmath>
#include <cstddef>
#include <exception>
#include <utility>

#include "json/json.h"
#include "log.h"
#include "main-loop.h"

namespace qor::internal {

namespace {

// What fits into one message of the platform together with the uuid. The longest payload of a
// command has the same size.
constexpr std::size_t kMaxAnswerBytes = 4'000'000;

}  // namespace

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

CommandState::CommandState(ReceivedCommand command, CommandKey key, std::string saved_state,
                           std::weak_ptr<CommandOwner> owner)
    : command_(std::move(command)),
      saved_state_(std::move(saved_state)),
      key_(std::make_shared<const CommandKey>(std::move(key))),
      owner_(std::move(owner)) {}

CommandState::~CommandState() {
  if (is_closed_) return;
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
  if (is_closed_.exchange(true)) {
    dlog_print(DLOG_WARN, kLogTag, "ignoring another answer to command %s of %s",
               command_.uuid.c_str(), command_.agent.c_str());
    return false;
  }
  const bool is_too_long = answer.text.size() > kMaxAnswerBytes;
  if (is_too_long) {
    dlog_print(DLOG_ERROR, kLogTag, "the answer to command %s of %s is too long: %zu bytes",
               command_.uuid.c_str(), command_.agent.c_str(), answer.text.size());
    answer = ErrorAnswer(ErrorCode::kAnswerTooLong, "answer too long");
  }
  if (Post(std::move(answer))) return !is_too_long;
  dlog_print(DLOG_WARN, kLogTag, "lost the answer to command %s of %s: the handler is exiting",
             command_.uuid.c_str(), command_.agent.c_str());
  return false;
}

bool CommandState::Suspend(const std::string& state) {
  if (is_closed_.exchange(true)) {
    dlog_print(DLOG_WARN, kLogTag, "cannot suspend command %s of %s: already answered",
               command_.uuid.c_str(), command_.agent.c_str());
    return false;
  }
  const bool is_stored = MainLoop::Get().PostAndWait([owner = owner_, key = key_, state] {
    const auto alive = owner.lock();
    return alive != nullptr && alive->OnSuspend(*key, state);
  });
  if (is_stored) return true;
  is_closed_ = false;
  dlog_print(DLOG_ERROR, kLogTag, "cannot suspend command %s of %s: state not stored",
             command_.uuid.c_str(), command_.agent.c_str());
  return false;
}

bool CommandState::RequestExtension(double seconds) {
  if (!std::isfinite(seconds) || seconds <= 0 || is_closed_) {
    dlog_print(DLOG_WARN, kLogTag, "no extension of %g s requested for command %s: %s", seconds,
               command_.uuid.c_str(), is_closed_ ? "already answered" : "invalid duration");
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
