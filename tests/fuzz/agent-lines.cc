// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Lines that scripts write to qor agent.

#include "agent-lines.h"

#include "json-text.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::TextOf(data, size);
  try {
    const qor::AgentLine line = qor::ParseAgentLine(text);
    const auto* command = std::get_if<qor::CommandLine>(&line);
    fuzz::Require(command == nullptr || !command->type.empty(), "a command has a type");
  } catch (const qor::LineFault& fault) {
    fuzz::Require(*fault.what() != '\0', "a fault has a text");
  }
  // Results come from handlers, and are shown as lines too.
  {
    qor::JsonWriter json;
    qor::WriteJsonOrText(json, text);
    const std::string line = json.Text();
    fuzz::Require(!qor::FindJsonFault(line), "what is shown is JSON");
    fuzz::Require(line.find('\n') == std::string::npos, "what is shown is one line");
  }
  return 0;
}
