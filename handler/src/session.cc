// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "session.h"

#include <iterator>
#include <utility>

namespace qor::internal {

namespace {

// Per agent. Bounds the memory while an agent stays away.
constexpr std::size_t kMaxPendingAnswers = 1000;

}  // namespace

Session::Session(const Dispatcher::RequestTypes& types, const std::string& answers_path,
                 const AnswerLimits& limits, CommandStore::Clock clock)
    : store_(answers_path, limits, std::move(clock)),
      dispatcher_(std::make_shared<Dispatcher>(types, store_, static_cast<AgentSender&>(*this))) {}

void Session::OnFetchRequested(const std::string& agent, AgentLink::Lifetime lifetime) {
  for (auto link = links_.begin(); link != links_.end();) {
    link = link->second.IsIdle() ? links_.erase(link) : std::next(link);
  }
  links_.try_emplace(agent, agent, *dispatcher_, kMaxPendingAnswers, lifetime)
      .first->second.OnFetchRequested();
  // Open the file while the agent handles the connection request.
  store_.Prepare();
}

void Session::Send(const std::string& agent, const std::string& uuid, Answer answer) {
  links_.at(agent).Send(uuid, std::move(answer));
}

bool Session::RequestExtension(const std::string& agent, const std::string& uuid, double seconds) {
  return links_.at(agent).RequestExtension(uuid, seconds);
}

}  // namespace qor::internal
