// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_LOGIC_H_
#define QOR_SRC_API_LOGIC_H_

#include <Ecore.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "api/api-interface.h"
#include "api/configuration.h"
#include "api/pending-commands.h"
#include "common/handler-id.h"
#include "common/observer.h"
#include "handlers/events.h"
#include "handlers/manager.h"
#include "ipc/request-taker.h"

namespace api {

// The router: takes commands from the client, finds and launches their handlers, keeps the commands
// until they are answered or their time is up, and passes results back. Has no lock; the client,
// the connections and the registry all reach it on the main loop's thread. Without a manager there
// are no handlers.
class Logic : public ipc::RequestTaker,
              public ApiInterface,
              public common::IObserver<const handlers::HandlerAdded&>,
              public common::IObserver<const handlers::HandlerRemoved&>,
              public common::IObserver<const handlers::HandlerUpdated&>,
              public std::enable_shared_from_this<Logic> {
 public:
  Logic();

  // Sets the registry; the caller attaches this object to the sources of change events.
  void Bind(std::shared_ptr<handlers::Manager> manager);
  void UnbindAll();
  // Drops every pending command without telling the client.
  void ShutDown();

  void SetCommandReceivedCb(const HandlerId& handler_id,
                            ipc::OnCommandReceivedUniqePtr cb) override;
  bool SendResult(const HandlerId& handler_id, rpc_port::stub::Result result) override;
  void OnConnected(const HandlerId& handler_id) override;
  void OnDisconnected(const HandlerId& handler_id) override;
  bool NegotiateTimeout(const HandlerId& handler_id, const std::string& uuid,
                        double timeout) override;

  void Update(const handlers::HandlerAdded& event) override;
  void Update(const handlers::HandlerRemoved& event) override;
  void Update(const handlers::HandlerUpdated& event) override;

  void SendCommand(std::string uuid, std::string request_type, std::string payload,
                   int payload_length, time_t timestamp) override;
  void SetResponseCallback(qor_handler_manager_response_cb callback, void* user_data) override;
  void SetNegotiationCallback(qor_handler_manager_negotiate_request_cb callback,
                              void* user_data) override;
  void SetConfiguration(qor_handler_manager_configuration_s* config) override;
  void ForeachHandler(qor_handler_manager_handler_info_cb callback, void* user_data) override;
  void SetHandlerUpdateCallback(qor_handler_manager_handler_update_cb callback,
                                void* user_data) override;

 private:
  using TimeoutCb = Eina_Bool (Logic::*)(const HandlerId&, const std::string&);
  using FoundCommand = std::optional<std::reference_wrapper<RequestContext>>;

  Eina_Bool ExecutionTimeoutCb(const HandlerId& handler_id, const std::string& uuid);
  Eina_Bool ConnectionTimeoutCb(const HandlerId& handler_id, const std::string& uuid);

  // The first pending command of this uuid. Valid until the handler's commands change.
  FoundCommand FindCmdId(const HandlerId& handler_id, const std::string& uuid);
  // Forgets a command, if it is still pending.
  void RemoveCommand(const HandlerId& handler_id, const std::string& uuid);
  // Ends a command whose time is up; false when it is no longer pending.
  // A timeout is told even when memory has run out: nothing here allocates.
  bool ExpireCommand(const HandlerId& handler_id, const std::string& uuid, std::string_view error);

  std::function<bool()> TimeoutAction(TimeoutCb timeout_cb, const HandlerId& handler_id,
                                      const std::string& uuid);
  double ConnectionSeconds() const;
  double ExecutionSeconds() const;

  std::shared_ptr<handlers::BaseHandler> FindHandlerById(const HandlerId& id) const;
  // `error` ends with a NUL.
  void Respond(const std::string& uuid, int status, const std::string& result,
               std::string_view error) const;
  void TellClient(qor_handler_update_type_e type, std::shared_ptr<handlers::BaseHandler> handler);

  std::shared_ptr<handlers::Manager> manager_;
  std::map<HandlerId, ipc::OnCommandReceivedUniqePtr> connected_handlers_;
  std::map<HandlerId, PendingCommands> pending_commands_;
  qor_handler_manager_response_cb response_cb_ = nullptr;
  void* response_user_data_ = nullptr;
  qor_handler_manager_negotiate_request_cb negotiation_cb_ = nullptr;
  void* negotiation_user_data_ = nullptr;
  qor_handler_manager_handler_update_cb handler_update_cb_ = nullptr;
  void* handler_update_user_data_ = nullptr;
  std::unique_ptr<qor_handler_manager_configuration_s> configuration_;
};

}  // namespace api

#endif
