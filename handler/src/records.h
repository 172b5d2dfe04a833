// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_RECORDS_H_
#define QOR_HANDLER_SRC_RECORDS_H_

#include <cstdint>
#include <string>

namespace qor::internal {

// A command as it came, and from whom.
struct ReceivedCommand {
  std::string agent;
  std::string uuid;
  std::string type;
  std::string payload;
  std::int64_t time = 0;
};

// How a command ended: a JSON text, of its result or of its error.
struct Answer {
  bool succeeded = false;
  std::string text;
};

}  // namespace qor::internal

#endif
