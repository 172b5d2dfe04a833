// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_API_INTERFACE_H_
#define QOR_SRC_API_API_INTERFACE_H_

#include <ctime>
#include <memory>
#include <string>

#include "qor_handler_manager.h"

namespace api {

// The operations of the router that the C functions call.
class ApiInterface {
 public:
  virtual ~ApiInterface() = default;

  // Throws NotSupportedCommand, OperationFailed or FailToSendAppControl.
  virtual void SendCommand(std::string uuid, std::string request_type, std::string payload,
                           int payload_length, time_t timestamp) = 0;
  virtual void SetResponseCallback(qor_handler_manager_response_cb callback, void* user_data) = 0;
  virtual void SetNegotiationCallback(qor_handler_manager_negotiate_request_cb callback,
                                      void* user_data) = 0;
  // Copies the values; the caller keeps the object.
  virtual void SetConfiguration(qor_handler_manager_configuration_s* config) = 0;
  virtual void ForeachHandler(qor_handler_manager_handler_info_cb callback, void* user_data) = 0;
  virtual void SetHandlerUpdateCallback(qor_handler_manager_handler_update_cb callback,
                                        void* user_data) = 0;
};

using ApiInterfacePtr = std::shared_ptr<ApiInterface>;

}  // namespace api

#endif
