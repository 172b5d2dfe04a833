// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "plain-agent.h"

#include <Ecore.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>

#include "base/run-until.h"
#include "common/timeout-errors.h"

namespace support {

namespace {

void ThrowOnError(int result, const char* message) {
  if (result != 0)
    throw std::runtime_error(std::string(message) + ": error " + std::to_string(result));
}

}  // namespace

PlainAgent::PlainAgent(int execution_timeout_ms, int connection_timeout_ms) {
  ecore_init();
  try {
    Configure(execution_timeout_ms, connection_timeout_ms);
  } catch (...) {
    qor_handler_manager_shutdown();
    ecore_shutdown();
    throw;
  }

  qor_handler_manager_set_response_cb(
      [](const char* uuid, qor_request_status_e status, const char* text, int length,
         const char* error, int error_length, void* data) {
        static_cast<PlainAgent*>(data)->OnResponse(Response{
            uuid, static_cast<int>(status), std::string(text, static_cast<std::size_t>(length)),
            std::string(error, static_cast<std::size_t>(error_length))});
      },
      this);
  qor_handler_manager_set_negotiate_request_cb(
      [](const char* handler, const char* uuid, double seconds, void* data) {
        const auto& negotiator = static_cast<PlainAgent*>(data)->negotiator_;
        return negotiator && !negotiator(handler, uuid, seconds) ? 1 : 0;
      },
      this);
  qor_handler_manager_set_handler_update_cb(
      [](qor_handler_update_type_e type, qor_handler_manager_handler_info_h info, void* data) {
        static_cast<PlainAgent*>(data)->OnUpdate(Update{type, tools::HandlerOf(info)});
      },
      this);
}

PlainAgent::~PlainAgent() {
  qor_handler_manager_shutdown();
  ecore_shutdown();
}

void PlainAgent::Configure(int execution_timeout_ms, int connection_timeout_ms) {
  qor_handler_manager_configuration_h config = nullptr;
  ThrowOnError(qor_handler_manager_configuration_create(&config), "cannot create a configuration");
  qor_handler_manager_configuration_set_command_execution_timeout(config, execution_timeout_ms);
  qor_handler_manager_configuration_set_connection_timeout(config, connection_timeout_ms);
  const int result = qor_handler_manager_initialize(config);
  qor_handler_manager_configuration_destroy(config);
  ThrowOnError(result, "cannot start the library");
}

void PlainAgent::OnResponse(Response response) {
  if (on_response_) {
    on_response_(response);
  } else {
    responses_.push_back(std::move(response));
  }
}

void PlainAgent::OnUpdate(Update update) {
  if (on_update_) {
    on_update_(update);
  } else {
    updates_.push_back(std::move(update));
  }
}

int PlainAgent::Send(const std::string& uuid, const std::string& request_type,
                     const std::string& payload) {
  return qor_handler_manager_send_command(uuid.c_str(), request_type.c_str(), payload.c_str(),
                                          static_cast<int>(payload.size()), std::time(nullptr));
}

const PlainAgent::Response* PlainAgent::FindResponse(const std::string& uuid) const {
  const auto found =
      std::find_if(responses_.begin(), responses_.end(),
                   [&uuid](const Response& response) { return response.uuid == uuid; });
  return found != responses_.end() ? &*found : nullptr;
}

const PlainAgent::Response* PlainAgent::WaitForResponse(const std::string& uuid,
                                                        std::chrono::duration<double> limit) const {
  tools::RunUntil([this, &uuid] { return FindResponse(uuid) != nullptr; }, limit);
  return FindResponse(uuid);
}

bool IsTimeout(const PlainAgent::Response& response) {
  return common::TimeoutOf(response.error) != common::Timeout::kNone;
}

}  // namespace support
