// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <cstddef>
#include <cstring>

#include "api/configuration.h"
#include "api/handler-info.h"
#include "api/qor-handler-manager-api.h"
#include "api/try-catch.h"
#include "common/exceptions.h"
#include "common/logging.h"
#include "qor_handler_manager.h"

using api::QorHandlerManagerApi;
using api::TryCatch;

namespace {

constexpr int kSuccess = QOR_HANDLER_MANAGER_ERROR_NONE;

// Throws InvalidParameter unless `condition` holds. `line` is a fixed number that log readers rely
// on, not the line of the call.
void Require(bool condition, int line, const char* message) {
  if (!condition) throw InvalidParameter(__FILE__, line, message);
}

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

}  // namespace

int qor_handler_manager_initialize(qor_handler_manager_configuration_h config) {
  return TryCatch([&] {
    QOR_INFO_AT(51, "qor_handler_manager_initialize");
    if (config != nullptr) QorHandlerManagerApi::Instance()->SetConfiguration(config);
    return kSuccess;
  });
}

int qor_handler_manager_shutdown() {
  return TryCatch([] {
    QOR_INFO_AT(63, "qor_handler_manager_shutdown");
    QorHandlerManagerApi::ShutDown();
    return kSuccess;
  });
}

int qor_handler_manager_configuration_create(qor_handler_manager_configuration_h* config) {
  return TryCatch([&] {
    QOR_FRAME_AT(73);
    Require(config != nullptr, 75, "config is nullptr");
    *config = new qor_handler_manager_configuration_s();
    return kSuccess;
  });
}

int qor_handler_manager_configuration_set_command_execution_timeout(
    qor_handler_manager_configuration_h config, int milliseconds) {
  return TryCatch([&] {
    QOR_FRAME_AT(87);
    Require(config != nullptr, 89, "config is nullptr");
    config->SetExecutionTimeout(milliseconds);
    return kSuccess;
  });
}

int qor_handler_manager_configuration_set_connection_timeout(
    qor_handler_manager_configuration_h config, int milliseconds) {
  return TryCatch([&] {
    QOR_FRAME_AT(100);
    Require(config != nullptr, 102, "config is nullptr");
    config->SetConnectionTimeout(milliseconds);
    return kSuccess;
  });
}

int qor_handler_manager_configuration_destroy(qor_handler_manager_configuration_h config) {
  if (config == nullptr) {
    QOR_ERROR_AT(113, "config is nullptr");
    return QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER;
  }
  delete config;
  return kSuccess;
}

int qor_handler_manager_send_command(const char* uuid, const char* request_type,
                                     const char* payload, int payload_len, time_t timestamp) {
  return TryCatch([&] {
    QOR_FRAME_AT(127);
    Require(!IsEmpty(uuid) && !IsEmpty(request_type), 130, "");
    // The length is compared unsigned if there is a payload, so that a negative one is rejected,
    // and signed if there is none, so that a negative one is accepted.
    const std::size_t length = payload != nullptr ? std::strlen(payload) : 0;
    Require(payload == nullptr || length >= static_cast<std::size_t>(payload_len), 134, "");
    Require(payload != nullptr || payload_len <= 0, 137, "");
    Require(timestamp >= 0, 140, "");
    QorHandlerManagerApi::Instance()->SendCommand(
        uuid, request_type, std::string(payload != nullptr ? payload : "", length), payload_len,
        timestamp);
    return kSuccess;
  });
}

int qor_handler_manager_set_response_cb(qor_handler_manager_response_cb callback, void* user_data) {
  return TryCatch([&] {
    QOR_FRAME_AT(155);
    Require(callback != nullptr, 157, "");
    QorHandlerManagerApi::Instance()->SetResponseCallback(callback, user_data);
    return kSuccess;
  });
}

int qor_handler_manager_set_negotiate_request_cb(qor_handler_manager_negotiate_request_cb callback,
                                                 void* user_data) {
  return TryCatch([&] {
    QOR_FRAME_AT(169);
    Require(callback != nullptr, 171, "");
    QorHandlerManagerApi::Instance()->SetNegotiationCallback(callback, user_data);
    return kSuccess;
  });
}

int qor_handler_manager_handler_info_clone(qor_handler_manager_handler_info_h handle,
                                           qor_handler_manager_handler_info_h* clone) {
  return TryCatch([&] {
    Require(handle != nullptr && clone != nullptr, 185, "handle or clone is nullptr");
    *clone = new qor_handler_manager_handler_info_s(*handle);
    return kSuccess;
  });
}

int qor_handler_manager_handler_info_destroy(qor_handler_manager_handler_info_h handle) {
  return TryCatch([&] {
    Require(handle != nullptr, 197, "handle is nullptr");
    delete handle;
    return kSuccess;
  });
}

int qor_handler_manager_foreach_handler_info(qor_handler_manager_handler_info_cb callback,
                                             void* user_data) {
  return TryCatch([&] {
    QOR_FRAME_AT(208);
    Require(callback != nullptr, 210, "");
    QorHandlerManagerApi::Instance()->ForeachHandler(callback, user_data);
    return kSuccess;
  });
}

int qor_handler_manager_set_handler_update_cb(qor_handler_manager_handler_update_cb callback,
                                              void* user_data) {
  return TryCatch([&] {
    QOR_FRAME_AT(221);
    Require(callback != nullptr, 223, "");
    QorHandlerManagerApi::Instance()->SetHandlerUpdateCallback(callback, user_data);
    return kSuccess;
  });
}

int qor_handler_manager_handler_info_appid_get(qor_handler_manager_handler_info_h handle,
                                               char** appid) {
  return TryCatch([&] {
    Require(handle != nullptr && appid != nullptr, 236, "handle or appid pointer is nullptr");
    *appid = handle->AppId();
    return kSuccess;
  });
}

int qor_handler_manager_handler_info_supported_request_types_get(
    qor_handler_manager_handler_info_h handle, char*** supported_types) {
  return TryCatch([&] {
    Require(handle != nullptr && supported_types != nullptr, 248,
            "handle or supported_types pointer is nullptr");
    *supported_types = handle->RequestTypes();
    return kSuccess;
  });
}
