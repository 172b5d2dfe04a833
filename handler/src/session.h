// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_SESSION_H_
#define QOR_HANDLER_SRC_SESSION_H_

#include <qor/handler.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>

#include "agent-link.h"
#include "command-store.h"
#include "dispatcher.h"

namespace qor::internal {

// The state of a running application: stored answers, commands in flight and a link per agent. Main
// loop's thread only.
class Session final : private AgentSender {
 public:
  // The path, limits and clock are those of a CommandStore. The functions must outlive this object.
  Session(const Dispatcher::RequestTypes& types, const std::string& answers_path,
          const AnswerLimits& limits, CommandStore::Clock clock);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { dispatcher_->Stop(); }

  // An agent asks this handler to fetch commands. A known agent keeps its lifetime; idle links to
  // others are removed.
  void OnFetchRequested(const std::string& agent, AgentLink::Lifetime lifetime);
  std::size_t CountLinks() const { return links_.size(); }

 private:
  void Send(const std::string& agent, const std::string& uuid, Answer answer) override;
  bool RequestExtension(const std::string& agent, const std::string& uuid, double seconds) override;

  CommandStore store_;
  const std::shared_ptr<Dispatcher> dispatcher_;
  std::map<std::string, AgentLink> links_;
};

}  // namespace qor::internal

#endif
