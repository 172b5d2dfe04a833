// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_COMMAND_STATE_H_
#define QOR_HANDLER_SRC_COMMAND_STATE_H_

#include <atomic>
#include <memory>
#include <string>

#include "answer-store.h"
#include "records.h"

namespace qor::internal {

// Whom the handles of a command reach. Called on the main loop's thread.
class CommandOwner {
 public:
  virtual void OnAnswer(const CommandKey& key, Answer answer) = 0;
  // Returns whether the agent grants the seconds.
  virtual bool AskForSeconds(const CommandKey& key, double seconds) = 0;

 protected:
  ~CommandOwner() = default;
};

// What the handles of one command share. Safe from any thread.
class CommandState {
 public:
  CommandState(ReceivedCommand command, CommandKey key, std::weak_ptr<CommandOwner> owner);
  CommandState(const CommandState&) = delete;
  CommandState& operator=(const CommandState&) = delete;
  // Answers for those who did not.
  ~CommandState();

  const ReceivedCommand& command() const { return command_; }
  bool IsAnswered() const { return is_answered_; }

  // These do what the functions of qor::Command say.
  bool End(Answer answer);
  bool AskForSeconds(double seconds);

 private:
  // False when the application has ended.
  bool HandOver(Answer answer);

  const ReceivedCommand command_;
  // Shared with what is under way to the owner, which may outlive this object.
  const std::shared_ptr<const CommandKey> key_;
  const std::weak_ptr<CommandOwner> owner_;
  std::atomic<bool> is_answered_{false};
};

}  // namespace qor::internal

#endif
