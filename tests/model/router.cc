// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "router.h"

#include <cmath>

#include "library-test.h"
#include "qor_handler_manager.h"

namespace model {
namespace {

constexpr int kDelegate = 1;

std::string FormatTimeout(const std::string& uuid, Timeout timeout) {
  const std::string error = timeout == Timeout::kConnection ? support::kConnectionTimeoutError
                                                            : support::kExecutionTimeoutError;
  return FormatResponse(uuid, QOR_REQUEST_STATUS_FAILED, "", 0, error,
                        static_cast<int>(error.size()));
}

}  // namespace

void Router::Configure(int execution_timeout, int connection_timeout) {
  execution_timeout_ = execution_timeout;
  connection_timeout_ = connection_timeout;
}

void Router::ShutDown() {
  pending_.clear();
  clock_->DeleteAll();
  registry_ = nullptr;
}

void Router::Send(const Operation& operation) {
  const HandlerPointer handler = registry_->Preferred(operation.type);
  if (!handler) throw Error{QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND};
  Pending& pending = PendingOf(handler->id);
  if (pending.Find(operation.uuid)) throw Error{QOR_HANDLER_MANAGER_ERROR_UNKNOWN};

  Command command;
  command.uuid = operation.uuid;
  command.type = operation.type;
  command.payload = operation.has_text ? operation.text : "";
  command.timestamp = operation.timestamp;
  const auto connection = connected_.find(handler->id);
  if (connection == connected_.end()) {
    environment_->Launch(handler->id);
    command.timeout = Timeout::kConnection;
    StartTimer(&pending, &pending.Append(command), connection_timeout_);
    return;
  }
  command.timeout = Timeout::kExecution;
  StartTimer(&pending, &pending.Append(command), execution_timeout_);
  if (!connection->second.instance.empty()) Deliver(&connection->second, command);
}

void Router::OnConnected(const std::string& app) {
  if (!registry_->ById(app)) return;
  Pending& pending = PendingOf(app);
  for (Command& command : pending.Commands()) pending.StopTimer(&command);
  connected_.emplace(app, Callback());
}

void Router::OnFetch(const std::string& app, const Callback& callback) {
  if (!registry_->ById(app)) return;
  Pending& pending = PendingOf(app);
  for (Command& command : pending.Commands()) {
    if (!command.sent) pending.StopTimer(&command);
  }
  Callback& stored = connected_[app] = callback;
  for (Command& command : pending.Commands()) {
    Deliver(&stored, command);
    command.sent = true;
    command.timeout = Timeout::kExecution;
    StartTimer(&pending, &command, execution_timeout_);
  }
}

void Router::OnAnswer(const std::string& app, const Operation& answer) {
  if (!registry_->ById(app)) return;
  if (listening_[Listen::kResponses]) {
    environment_->Respond(FormatResponse(answer.uuid, answer.status, answer.text,
                                         static_cast<int>(answer.text.size()), answer.error,
                                         static_cast<int>(answer.error.size())));
  }
  Command* command = Find(app, answer.uuid);
  if (!command) return;
  Pending& pending = PendingOf(app);
  pending.StopTimer(command);
  pending.Remove(answer.uuid);
}

bool Router::Negotiate(const std::string& app, const std::string& uuid, double seconds) {
  if (std::isnan(seconds) || !Find(app, uuid)) return false;
  if (listening_[Listen::kNegotiations] &&
      environment_->Negotiate(FormatNegotiation(app, uuid, seconds)) == 1) {
    return false;
  }
  // The client may have sent commands in its callback, which deletes timers.
  if (const Command* command = Find(app, uuid)) clock_->Restart(command->timer, seconds);
  return true;
}

void Router::OnRegistryChanged(int update, const Handler& handler) {
  if (listening_[Listen::kUpdates])
    environment_->NotifyUpdate(FormatUpdate(update, handler.Format()));
}

void Router::Fire(Position position) {
  for (auto& [app, pending] : pending_) {
    const Command* command = pending.At(position);
    if (!command) continue;
    const Command copy = *command;
    OnTimeout(std::string(app), copy.uuid, copy.timeout);
    return;
  }
}

void Router::OnTimeout(const std::string& app, const std::string& uuid, Timeout timeout) {
  Command* command = Find(app, uuid);
  if (!command) return;
  command->expired = true;
  if (listening_[Listen::kResponses]) environment_->Respond(FormatTimeout(uuid, timeout));
  if (Find(app, uuid)) PendingOf(app).Remove(uuid);
}

Pending& Router::PendingOf(const std::string& app) {
  return pending_.try_emplace(app, clock_, last_block_).first->second;
}

Command* Router::Find(const std::string& app, const std::string& uuid) {
  const auto found = pending_.find(app);
  return found == pending_.end() ? nullptr : found->second.Find(uuid);
}

void Router::Deliver(Callback* callback, const Command& command) {
  if (callback->once && callback->used) throw Error{QOR_HANDLER_MANAGER_ERROR_UNKNOWN};
  callback->used = true;
  environment_->Deliver(callback->instance, FormatDelivery(callback->instance, {kDelegate,
                                                                                callback->sequence,
                                                                                callback->once,
                                                                                command.uuid,
                                                                                command.uuid,
                                                                                command.type,
                                                                                command.payload,
                                                                                command.timestamp,
                                                                                {}}));
}

void Router::StartTimer(Pending* pending, Command* command, int milliseconds) {
  if (!pending->StartTimer(command, milliseconds / 1000.0)) {
    throw Error{QOR_HANDLER_MANAGER_ERROR_UNKNOWN};
  }
}

}  // namespace model
