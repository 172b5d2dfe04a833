// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_DISPATCHER_H_
#define QOR_HANDLER_SRC_DISPATCHER_H_

#include <qor/handler.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "agent-link.h"
#include "command-state.h"
#include "command-store.h"
#include "records.h"

namespace qor::internal {

// Sends answers and extension requests to agents.
class AgentSender {
 public:
  virtual void Send(const std::string& agent, const std::string& uuid, Answer answer) = 0;
  virtual bool RequestExtension(const std::string& agent, const std::string& uuid,
                                double seconds) = 0;

 protected:
  ~AgentSender() = default;
};

// Calls the function of each command. Runs no command twice: a redelivered command that is in
// flight is ignored, and one with a stored answer gets that answer again. One during which the
// process ended is treated as its policy says. Main loop's thread only.
class Dispatcher final : public AgentLink::Receiver,
                         public CommandOwner,
                         public std::enable_shared_from_this<Dispatcher> {
 public:
  struct RequestType {
    Handler::Function run;
    Handler::Function resume;
    Policy policy = Policy::kAtLeastOnce;
  };
  using RequestTypes = std::map<std::string, RequestType>;

  // Borrows all three, which must outlive this object.
  Dispatcher(const RequestTypes& types, CommandStore& store, AgentSender& agents)
      : types_(types), store_(store), sender_(agents) {}

  void OnCommand(ReceivedCommand command) override;
  bool HasCommandsInFlight(const std::string& agent) const override;

  void OnAnswer(const CommandKey& key, Answer answer) override;
  bool OnSuspend(const CommandKey& key, const std::string& state) override;
  bool RequestExtension(const CommandKey& key, double seconds) override;

  // The application exits: the commands in flight did not end the process.
  void Stop();

 private:
  using Command = std::shared_ptr<CommandState>;

  // Runs the command, or fails it for what is stored of it.
  void Start(const Command& command, const StoredCommand& stored);
  void Run(const Command& command, const Handler::Function& function);
  void Fail(const Command& command, ErrorCode code, const std::string& description);
  // A command has left flight.
  void Finish(const CommandKey& key);

  const RequestTypes& types_;
  CommandStore& store_;
  AgentSender& sender_;
  // Commands without an answer, ordered by agent.
  std::map<CommandKey, Policy> in_flight_;
  // Commands that were in flight when the process ended before. They run one at a time, so that the
  // one that ends the process does not take the others with it.
  std::optional<CommandKey> suspect_;
  std::deque<std::pair<Command, StoredCommand>> waiting_suspects_;
};

}  // namespace qor::internal

#endif
