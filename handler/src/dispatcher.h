// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_DISPATCHER_H_
#define QOR_HANDLER_SRC_DISPATCHER_H_

#include <qor/handler.h>

#include <map>
#include <memory>
#include <set>
#include <string>

#include "agent-link.h"
#include "answer-store.h"
#include "command-state.h"
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
// flight is ignored, and one with a stored answer gets that answer again. Main loop's thread only.
class Dispatcher final : public AgentLink::Receiver,
                         public CommandOwner,
                         public std::enable_shared_from_this<Dispatcher> {
 public:
  using Functions = std::map<std::string, Handler::Function>;

  // Borrows all three, which must outlive this object.
  Dispatcher(const Functions& functions, AnswerStore& answers, AgentSender& agents)
      : functions_(functions), answers_(answers), sender_(agents) {}

  void OnCommand(ReceivedCommand command) override;
  bool HasCommandsInFlight(const std::string& agent) const override;

  void OnAnswer(const CommandKey& key, Answer answer) override;
  bool RequestExtension(const CommandKey& key, double seconds) override;

 private:
  void Run(const std::shared_ptr<CommandState>& state);

  const Functions& functions_;
  AnswerStore& answers_;
  AgentSender& sender_;
  // Commands without an answer, ordered by agent.
  std::set<CommandKey> in_flight_;
};

}  // namespace qor::internal

#endif
