// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_CLIENT_H_
#define TESTS_SUPPORT_CLIENT_H_

#include <functional>
#include <string>
#include <vector>

#include "qor_handler_manager.h"

namespace support {

struct Response {
  std::string uuid;
  int status;
  std::string result;
  int result_length;
  std::string error;
  int error_length;
};

struct Negotiation {
  std::string handler_id;
  std::string uuid;
  double seconds;
};

struct HandlerInfo {
  std::string app_id;
  std::vector<std::string> request_types;

  bool operator==(const HandlerInfo& other) const {
    return app_id == other.app_id && request_types == other.request_types;
  }
};

struct HandlerUpdate {
  int type;
  HandlerInfo handler;

  bool operator==(const HandlerUpdate& other) const {
    return type == other.type && handler == other.handler;
  }
};

// Copies a handler-information record.
HandlerInfo Read(qor_handler_manager_handler_info_h info);

// A client of the library: records the calls of its callbacks. The hooks run inside the callbacks,
// after the call has been recorded.
class Client {
 public:
  void ListenForResponses();
  void ListenForNegotiations();
  void ListenForUpdates();

  // Returns all handlers, sorted by id because enumeration order is unspecified.
  static std::vector<HandlerInfo> Handlers();

  std::vector<std::string> AnsweredUuids() const;

  std::vector<Response> responses;
  std::function<void(const Response&)> on_response;
  std::vector<Negotiation> negotiations;
  std::function<int(const Negotiation&)> on_negotiation;
  std::vector<HandlerUpdate> updates;
  std::function<void(const HandlerUpdate&)> on_update;
};

}  // namespace support

#endif
