// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PROTOCOL_REQUEST_H_
#define QOR_TOOLS_QOR_PROTOCOL_REQUEST_H_

#include <qor_agent.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tools::cli {

// The requests of the JSON Lines protocol; docs/agent-protocol.md describes it.

struct CommandRequest {
  std::string type;
  std::string payload;
  // Empty for a random one.
  std::string uuid;
  // Until the deadline.
  std::chrono::milliseconds timeout = std::chrono::minutes(1);
  qor_agent_policy_e policy = QOR_AGENT_AT_MOST_ONCE;
  bool waits_for_handler = false;
};
struct ConfirmRequest {
  std::string uuid;
};
struct HandlersRequest {};
struct NegotiationRequest {
  bool grant;
};
using Request = std::variant<CommandRequest, ConfirmRequest, HandlersRequest, NegotiationRequest>;

// An invalid request.
class ProtocolError : public std::runtime_error {
 public:
  // `key`: the invalid member, or empty. `column`: of a JSON syntax error, from 1, or 0.
  explicit ProtocolError(const std::string& message, std::string key = "", int column = 0)
      : std::runtime_error(message), key_(std::move(key)), column_(column) {}

  const std::string& Key() const { return key_; }
  int Column() const { return column_; }

 private:
  std::string key_;
  int column_;
};

// Parses one line. Throws ProtocolError.
Request ParseRequest(std::string_view line);

}  // namespace tools::cli

#endif
