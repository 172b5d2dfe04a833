// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/logic.h"

#include <cmath>
#include <utility>

#include "api/handler-info.h"
#include "common/exceptions.h"
#include "common/logging.h"
#include "common/timeout-errors.h"
#include "tizen/callback-guard.h"

namespace api {

namespace {

constexpr double kMillisecondsPerSecond = 1000.0;
// Value of a negotiation callback that rejects the request; all others accept it.
constexpr int kNegotiationRejected = 1;

}  // namespace

Logic::Logic() : configuration_(std::make_unique<qor_handler_manager_configuration_s>()) {}

void Logic::Bind(std::shared_ptr<handlers::Manager> manager) { manager_ = std::move(manager); }

void Logic::UnbindAll() { manager_.reset(); }

void Logic::ShutDown() { pending_commands_.clear(); }

void Logic::SetCommandReceivedCb(const HandlerId& handler_id, ipc::OnCommandReceivedUniqePtr cb) {
  QOR_FRAME();
  if (!FindHandlerById(handler_id)) {
    QOR_WARN("Received FetchCommands request from non-registered handler. Ignoring...");
    return;
  }
  auto& commands = pending_commands_[handler_id];
  commands.ForEach([](RequestContext& context) {
    if (!context.IsSent()) context.StopTimer();
  });
  connected_handlers_[handler_id] = std::move(cb);
  std::size_t next_position = 0;
  commands.ForEach([&](RequestContext& context) {
    const std::size_t position = next_position++;
    // Sending may report a disconnection, which removes the entry.
    const auto connected = connected_handlers_.find(handler_id);
    if (connected == connected_handlers_.end()) return;
    const std::string& uuid = context.GetCommand().uuid;
    connected->second->Invoke(uuid, context.GetCommand());
    context.SetSent();
    context.SetAction(TimeoutAction(&Logic::ExecutionTimeoutCb, handler_id, uuid));
    commands.StartTimer(context, position, ExecutionSeconds());
  });
}

bool Logic::SendResult(const HandlerId& handler_id, rpc_port::stub::Result result) {
  QOR_FRAME();
  if (!FindHandlerById(handler_id)) {
    QOR_WARN("Received SendResult request from non-registered handler. Ignoring...");
    return true;
  }
  // Even without a pending command: the client receives late results too.
  Respond(result.uuid, result.status, result.result, result.error);
  if (const auto found = FindCmdId(handler_id, result.uuid)) {
    found->get().StopTimer();
    RemoveCommand(handler_id, result.uuid);
  }
  return true;
}

void Logic::OnConnected(const HandlerId& handler_id) {
  QOR_FRAME();
  if (!FindHandlerById(handler_id)) return;
  auto& commands = pending_commands_[handler_id];
  connected_handlers_.try_emplace(handler_id);
  commands.ForEach([](RequestContext& context) { context.StopTimer(); });
}

void Logic::OnDisconnected(const HandlerId& handler_id) {
  QOR_FRAME();
  connected_handlers_.erase(handler_id);
}

bool Logic::NegotiateTimeout(const HandlerId& handler_id, const std::string& uuid, double timeout) {
  if (!FindCmdId(handler_id, uuid)) return false;
  // With a NaN interval, Ecore stops its other timers.
  if (std::isnan(timeout)) return false;
  if (negotiation_cb_ != nullptr &&
      negotiation_cb_(handler_id.c_str(), uuid.c_str(), timeout, negotiation_user_data_) ==
          kNegotiationRejected) {
    return false;
  }
  // Again, because the client's callback may have ended the command.
  const auto found = FindCmdId(handler_id, uuid);
  if (!found) return false;
  found->get().SetTimeout(timeout);
  return true;
}

void Logic::Update(const handlers::HandlerAdded& event) {
  NotifyClient(QOR_HANDLER_UPDATE_ADDED, event.handler);
}

void Logic::Update(const handlers::HandlerRemoved& event) {
  NotifyClient(QOR_HANDLER_UPDATE_REMOVED, event.handler);
}

void Logic::Update(const handlers::HandlerUpdated& event) {
  NotifyClient(QOR_HANDLER_UPDATE_UPDATED, event.handler);
}

void Logic::SendCommand(std::string uuid, std::string request_type, std::string payload, int,
                        time_t timestamp) {
  QOR_SCOPE(DLOG_INFO, __LINE__, "SendCommand [%s][%s]", uuid.c_str(), request_type.c_str());
  const auto handler = manager_ ? manager_->GetHandler(request_type) : nullptr;
  if (!handler) {
    QOR_WARN(
        "SCENARIO_TEST_LOG: Handler for request type '%s' not registered. Command execution "
        "aborted.",
        request_type.c_str());
    throw NotSupportedCommand(__FILE__, __LINE__, "");
  }
  const HandlerId& handler_id = handler->Id();
  if (pending_commands_[handler_id].Find(uuid) != nullptr) {
    throw OperationFailed(__FILE__, __LINE__, "Duplicated command uuid occurred.");
  }
  QOR_INFO("Handler is [%s]", handler_id.c_str());

  rpc_port::stub::Command command(uuid, std::move(request_type), std::move(payload), timestamp, {});
  const auto connected = connected_handlers_.find(handler_id);
  if (connected == connected_handlers_.end()) {
    QOR_INFO("Handler registered but not running. Launching...");
    QOR_INFO("Putting command on waiting queue.");
    Launch(*handler, std::move(command));
    return;
  }

  // The timer starts before the delivery, so that the time that the handler takes to accept the
  // command counts.
  const RequestContext& context =
      AddPending(handler_id, std::move(command), &Logic::ExecutionTimeoutCb, ExecutionSeconds());
  if (connected->second) {
    QOR_INFO("Handler connected and callback is registered.");
    connected->second->Invoke(uuid, context.GetCommand());
  } else {
    QOR_INFO("Handler connected but no FetchCommands callback is registered.");
    QOR_INFO("Putting command on waiting queue.");
  }
}

void Logic::SetResponseCallback(qor_handler_manager_response_cb callback, void* user_data) {
  response_cb_ = callback;
  response_user_data_ = user_data;
}

void Logic::SetNegotiationCallback(qor_handler_manager_negotiate_request_cb callback,
                                   void* user_data) {
  negotiation_cb_ = callback;
  negotiation_user_data_ = user_data;
}

void Logic::SetConfiguration(qor_handler_manager_configuration_s* config) {
  *configuration_ = *config;
}

void Logic::ForeachHandler(qor_handler_manager_handler_info_cb callback, void* user_data) {
  if (!manager_) return;
  for (const auto& handler : manager_->GetHandlers()) {
    qor_handler_manager_handler_info_s info(handler->Id(), handler->RequestTypes());
    if (!callback(&info, user_data)) return;
  }
}

void Logic::SetHandlerUpdateCallback(qor_handler_manager_handler_update_cb callback,
                                     void* user_data) {
  handler_update_cb_ = callback;
  handler_update_user_data_ = user_data;
}

Eina_Bool Logic::ExecutionTimeoutCb(const HandlerId& handler_id, const std::string& uuid) {
  if (ExpireCommand(handler_id, uuid, common::kExecutionTimeoutError)) {
    QOR_DEBUG("SCENARIO_TEST_LOG: Execution timeout");
  }
  return ECORE_CALLBACK_CANCEL;
}

Eina_Bool Logic::ConnectionTimeoutCb(const HandlerId& handler_id, const std::string& uuid) {
  ExpireCommand(handler_id, uuid, common::kConnectionTimeoutError);
  return ECORE_CALLBACK_CANCEL;
}

void Logic::Launch(handlers::BaseHandler& handler, rpc_port::stub::Command command) {
  // The launch comes first, so that the command does not stay pending if it fails.
  handler.Notify();
  AddPending(handler.Id(), std::move(command), &Logic::ConnectionTimeoutCb, ConnectionSeconds());
}

RequestContext& Logic::AddPending(const HandlerId& handler_id, rpc_port::stub::Command command,
                                  TimeoutCb timeout_cb, double seconds) {
  auto& commands = pending_commands_[handler_id];
  auto action = TimeoutAction(timeout_cb, handler_id, command.uuid);
  auto& context = commands.Append(std::move(command), std::move(action));
  commands.StartTimer(context, commands.Size() - 1, seconds);
  return context;
}

Logic::FoundCommand Logic::FindCmdId(const HandlerId& handler_id, const std::string& uuid) {
  const auto commands = pending_commands_.find(handler_id);
  if (commands == pending_commands_.end()) return std::nullopt;
  RequestContext* context = commands->second.Find(uuid);
  return context != nullptr ? FoundCommand(*context) : std::nullopt;
}

void Logic::RemoveCommand(const HandlerId& handler_id, const std::string& uuid) {
  const auto commands = pending_commands_.find(handler_id);
  if (commands != pending_commands_.end()) commands->second.Remove(uuid);
}

bool Logic::ExpireCommand(const HandlerId& handler_id, const std::string& uuid,
                          std::string_view error) {
  const auto found = FindCmdId(handler_id, uuid);
  if (!found) return false;
  // The client may shut the library down in its callback.
  const auto self = weak_from_this().lock();
  found->get().SetExpired();
  tizen::GuardCallback(common::kLogTag, __FILE__, __FUNCTION__, __LINE__, 0, [&] {
    Respond(uuid, QOR_REQUEST_STATUS_FAILED, "", error);
    return 0;
  });
  RemoveCommand(handler_id, uuid);
  return true;
}

std::function<bool()> Logic::TimeoutAction(TimeoutCb timeout_cb, const HandlerId& handler_id,
                                           const std::string& uuid) {
  return std::bind(timeout_cb, this, handler_id, uuid);
}

double Logic::ConnectionSeconds() const {
  return configuration_->GetConnectionTimeout() / kMillisecondsPerSecond;
}

double Logic::ExecutionSeconds() const {
  return configuration_->GetExecutionTimeout() / kMillisecondsPerSecond;
}

std::shared_ptr<handlers::BaseHandler> Logic::FindHandlerById(const HandlerId& id) const {
  return manager_ ? manager_->GetHandlerById(id) : nullptr;
}

void Logic::Respond(const std::string& uuid, int status, const std::string& result,
                    std::string_view error) const {
  if (response_cb_ == nullptr) return;
  response_cb_(uuid.c_str(), static_cast<qor_request_status_e>(status), result.c_str(),
               static_cast<int>(result.size()), error.data(), static_cast<int>(error.size()),
               response_user_data_);
}

void Logic::NotifyClient(qor_handler_update_type_e type,
                         std::shared_ptr<handlers::BaseHandler> handler) {
  qor_handler_manager_handler_info_s info(handler->Id(), handler->RequestTypes());
  if (handler_update_cb_ != nullptr) handler_update_cb_(type, &info, handler_update_user_data_);
}

}  // namespace api
