// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Requests of the JSON Lines protocol of qor agent, and events with arbitrary results.

#include "json/text.h"
#include "qor/protocol/request.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::TextOf(data, size);
  try {
    const tools::cli::Request request = tools::cli::ParseRequest(text);
    const auto* command = std::get_if<tools::cli::CommandRequest>(&request);
    fuzz::Require(command == nullptr || !command->type.empty(), "a command has a type");
  } catch (const tools::cli::ProtocolError& error) {
    fuzz::Require(*error.what() != '\0', "an error has a message");
  }
  {
    json::ValueWriter json;
    json::WriteJsonOrString(json, text);
    const std::string line = json.Text();
    fuzz::Require(!json::FindSyntaxError(line), "an event is JSON");
    fuzz::Require(line.find('\n') == std::string::npos, "an event is one line");
  }
  return 0;
}
