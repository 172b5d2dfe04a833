// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_COMMAND_STATE_H_
#define QOR_HANDLER_SRC_COMMAND_STATE_H_

#include <qor/handler.h>

#include <atomic>
#include <memory>
#include <string>

#include "command-store.h"
#include "records.h"

namespace qor::internal {

// Returns a failure with the SDK's JSON error object. Replaces a description that is not UTF-8.
Answer ErrorAnswer(ErrorCode code, const std::string& description);

// Receives what the handles of a command request. Called on the main loop's thread.
class CommandOwner {
 public:
  virtual void OnAnswer(const CommandKey& key, Answer answer) = 0;
  // Returns whether the state is stored.
  virtual bool OnSuspend(const CommandKey& key, const std::string& state) = 0;
  // Returns whether the agent grants the extension.
  virtual bool RequestExtension(const CommandKey& key, double seconds) = 0;

 protected:
  ~CommandOwner() = default;
};

// The state shared by all handles of one command. Answered exactly once: by the first Complete(),
// or with an error when the last handle is destroyed; or not at all after Suspend(). Thread-safe.
class CommandState {
 public:
  CommandState(ReceivedCommand command, CommandKey key, std::string saved_state,
               std::weak_ptr<CommandOwner> owner);
  CommandState(const CommandState&) = delete;
  CommandState& operator=(const CommandState&) = delete;
  // Fails a command that has no answer.
  ~CommandState();

  const ReceivedCommand& command() const { return command_; }
  const CommandKey& key() const { return *key_; }
  const std::string& saved_state() const { return saved_state_; }
  // Answered or suspended.
  bool IsClosed() const { return is_closed_; }

  // As Succeed() and Fail() of qor::Command.
  bool Complete(Answer answer);
  // As Suspend() and AskForSeconds() of qor::Command.
  bool Suspend(const std::string& state);
  bool RequestExtension(double seconds);

 private:
  // Passes the answer to the owner on the main loop's thread. Returns false when the loop is
  // closed.
  bool Post(Answer answer);

  const ReceivedCommand command_;
  const std::string saved_state_;
  // Shared with posted tasks, which may outlive this object.
  const std::shared_ptr<const CommandKey> key_;
  const std::weak_ptr<CommandOwner> owner_;
  std::atomic<bool> is_closed_{false};
};

}  // namespace qor::internal

#endif
