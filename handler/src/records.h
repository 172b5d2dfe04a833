// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_RECORDS_H_
#define QOR_HANDLER_SRC_RECORDS_H_

#include <cstdint>
#include <string>

namespace qor::internal {

// A delivered command and the application id of the agent that sent it.
struct ReceivedCommand {
  std::string agent;
  std::string uuid;
  std::string type;
  std::string payload;
  std::int64_t time = 0;
};

// The outcome of a command: a JSON text, either its result or its error.
struct Answer {
  bool succeeded = false;
  std::string text;
};

}  // namespace qor::internal

#endif
