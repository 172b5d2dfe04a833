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
#include "common/observer.h"
#include "common/platform-names.h"
#include "handlers/events.h"
#include "handlers/manager.h"
#include "ipc/request-taker.h"

namespace api {

// The router: sends the client's commands to their handlers, which it launches if necessary, keeps
// the commands until their result or timeout, and passes results back. Without a manager there are
// no handlers.
//
// Without a lock: the client, the connections and the registry call it on the main loop's thread.
// Each callback of the client may change everything, shutdown included, so nothing that was looked
// up before a callback is used after it.
class Logic : public ipc::RequestTaker,
              public ApiInterface,
              public common::IObserver<const handlers::HandlerAdded&>,
              public common::IObserver<const handlers::HandlerRemoved&>,
              public common::IObserver<const handlers::HandlerUpdated&>,
              public std::enable_shared_from_this<Logic> {
 public:
  Logic();

  // Sets the registry. The caller attaches this object to the sources of change events.
  void Bind(std::shared_ptr<handlers::Manager> manager);
  void UnbindAll();
  // Drops all pending commands without a response.
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

  // Launches a handler and adds the command to its pending commands. Throws FailToSendAppControl.
  void Launch(handlers::BaseHandler& handler, rpc_port::stub::Command command);
  // Adds a pending command and starts its timer. Returns a reference that is valid until the
  // command is removed. If the platform creates no timer, throws OperationFailed but keeps the
  // command.
  RequestContext& AddPending(const HandlerId& handler_id, rpc_port::stub::Command command,
                             TimeoutCb timeout_cb, double seconds);
  // Returns a pending command. The reference is valid until the command is removed.
  FoundCommand FindCmdId(const HandlerId& handler_id, const std::string& uuid);
  // Removes a command, if it is still pending.
  void RemoveCommand(const HandlerId& handler_id, const std::string& uuid);
  // Reports a timeout to the client and removes the command; false if it is no longer pending.
  // Allocates nothing, so that a timeout is reported even when out of memory.
  bool ExpireCommand(const HandlerId& handler_id, const std::string& uuid, std::string_view error);

  std::function<bool()> TimeoutAction(TimeoutCb timeout_cb, const HandlerId& handler_id,
                                      const std::string& uuid);
  double ConnectionSeconds() const;
  double ExecutionSeconds() const;

  std::shared_ptr<handlers::BaseHandler> FindHandlerById(const HandlerId& id) const;
  // Reports a result to the client. `error` must be NUL-terminated.
  void Respond(const std::string& uuid, int status, const std::string& result,
               std::string_view error) const;
  void NotifyClient(qor_handler_update_type_e type, std::shared_ptr<handlers::BaseHandler> handler);

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
