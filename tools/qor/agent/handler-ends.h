// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_AGENT_HANDLER_ENDS_H_
#define QOR_TOOLS_QOR_AGENT_HANDLER_ENDS_H_

#include <sys/types.h>

#include <functional>
#include <string>

#include "json/value-writer.h"

namespace tools::cli {

// How a handler's process ended that this process had launched.
struct HandlerEnd {
  std::string handler;  // application id
  pid_t pid = 0;        // 0 when its executable could not be executed
  int status = 0;       // exit status, or 0
  int signal = 0;       // that killed it, or 0
  // Whether the exit status is 0.
  bool is_success = false;
  // Whether the process had connected to this one.
  bool has_connected = false;
  std::string text;  // "exited with status 127: libfoo.so.0 not found"
};

// Returns "HANDLER exited with status 3 before it connected".
std::string Describe(const HandlerEnd& end);

// Adds the members "handler", "process", "status", "signal" and "text" to the open object.
void WriteMembers(json::ValueWriter& json, const HandlerEnd& end);

// While it exists, passes the ends of launched processes, on the main loop.
class HandlerEnds {
 public:
  explicit HandlerEnds(std::function<void(const HandlerEnd&)> on_end);
  HandlerEnds(const HandlerEnds&) = delete;
  HandlerEnds& operator=(const HandlerEnds&) = delete;
  ~HandlerEnds();

 private:
  std::function<void(const HandlerEnd&)> on_end_;
};

}  // namespace tools::cli

#endif
