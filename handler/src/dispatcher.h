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

// Where answers and questions go.
class Agents {
 public:
  virtual void Send(const std::string& agent, const std::string& uuid, Answer answer) = 0;
  virtual bool AskForSeconds(const std::string& agent, const std::string& uuid, double seconds) = 0;

 protected:
  ~Agents() = default;
};

// Runs the function of each command, once. Main loop's thread only.
class Dispatcher final : public AgentLink::Receiver,
                         public CommandOwner,
                         public std::enable_shared_from_this<Dispatcher> {
 public:
  using Functions = std::map<std::string, Handler::Function>;

  // All three must outlive this object; in the end nothing but answers is taken from them.
  Dispatcher(const Functions& functions, AnswerStore& answers, Agents& agents)
      : functions_(functions), answers_(answers), agents_(agents) {}

  void OnCommand(ReceivedCommand command) override;
  bool IsWorkingFor(const std::string& agent) const override;

  void OnAnswer(const CommandKey& key, Answer answer) override;
  bool AskForSeconds(const CommandKey& key, double seconds) override;

 private:
  void Run(const std::shared_ptr<CommandState>& state);

  const Functions& functions_;
  AnswerStore& answers_;
  Agents& agents_;
  // Commands that no one has answered yet; ordered by agent.
  std::set<CommandKey> in_work_;
};

}  // namespace qor::internal

#endif
