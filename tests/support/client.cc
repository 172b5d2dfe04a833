// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "client.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace support {

HandlerInfo Read(qor_handler_manager_handler_info_h info) {
  HandlerInfo read;
  char* app_id = nullptr;
  char** types = nullptr;
  EXPECT_EQ(qor_handler_manager_handler_info_appid_get(info, &app_id), 0);
  EXPECT_EQ(qor_handler_manager_handler_info_supported_request_types_get(info, &types), 0);
  read.app_id = app_id;
  for (; *types != nullptr; ++types) read.request_types.emplace_back(*types);
  return read;
}

void Client::ListenForResponses() {
  const int error = qor_handler_manager_set_response_cb(
      [](const char* uuid, qor_request_status_e status, const char* result, int result_length,
         const char* error_text, int error_length, void* data) {
        auto* client = static_cast<Client*>(data);
        const Response response{uuid, status, result, result_length, error_text, error_length};
        client->responses.push_back(response);
        if (client->on_response) client->on_response(response);
      },
      this);
  ASSERT_EQ(error, 0);
}

void Client::ListenForNegotiations() {
  const int error = qor_handler_manager_set_negotiate_request_cb(
      [](const char* handler_id, const char* uuid, double seconds, void* data) {
        auto* client = static_cast<Client*>(data);
        const Negotiation negotiation{handler_id, uuid, seconds};
        client->negotiations.push_back(negotiation);
        return client->on_negotiation ? client->on_negotiation(negotiation) : 0;
      },
      this);
  ASSERT_EQ(error, 0);
}

void Client::ListenForUpdates() {
  const int error = qor_handler_manager_set_handler_update_cb(
      [](qor_handler_update_type_e type, qor_handler_manager_handler_info_h info, void* data) {
        auto* client = static_cast<Client*>(data);
        const HandlerUpdate update{type, Read(info)};
        client->updates.push_back(update);
        if (client->on_update) client->on_update(update);
      },
      this);
  ASSERT_EQ(error, 0);
}

std::vector<HandlerInfo> Client::Handlers() {
  std::vector<HandlerInfo> handlers;
  const int error = qor_handler_manager_foreach_handler_info(
      [](qor_handler_manager_handler_info_h info, void* data) {
        static_cast<std::vector<HandlerInfo>*>(data)->push_back(Read(info));
        return true;
      },
      &handlers);
  EXPECT_EQ(error, 0);
  std::sort(handlers.begin(), handlers.end(),
            [](const auto& a, const auto& b) { return a.app_id < b.app_id; });
  return handlers;
}

std::vector<std::string> Client::AnsweredUuids() const {
  std::vector<std::string> uuids;
  for (const Response& response : responses) uuids.push_back(response.uuid);
  return uuids;
}

}  // namespace support
