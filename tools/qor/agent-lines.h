// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_AGENT_LINES_H_
#define QOR_TOOLS_QOR_AGENT_LINES_H_

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "json-text.h"

namespace qor {

// The lines that qor agent reads; docs/agent-lines.md describes them.

struct CommandLine {
  std::string type;
  std::string payload;
  // Empty: a random one.
  std::string uuid;
};
struct ConfigurationLine {
  std::optional<int> execution_timeout_ms;
  std::optional<int> connection_timeout_ms;
};
struct HandlersLine {};
struct NegotiationLine {
  bool grant;
};
using AgentLine = std::variant<CommandLine, ConfigurationLine, HandlersLine, NegotiationLine>;

// A line that means nothing.
class LineFault : public std::runtime_error {
 public:
  // `key`: the member at fault, or empty. `column`: where the line stops being JSON, or 0.
  LineFault(const std::string& what, std::string key, int column = 0)
      : std::runtime_error(what), key_(std::move(key)), column_(column) {}

  const std::string& Key() const { return key_; }
  int Column() const { return column_; }

 private:
  std::string key_;
  int column_;
};

// Throws LineFault.
AgentLine ParseAgentLine(std::string_view line);

}  // namespace qor

#endif
