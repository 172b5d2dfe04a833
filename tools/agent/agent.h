// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_AGENT_AGENT_H_
#define QOR_TOOLS_AGENT_AGENT_H_

#include <qor_handler_manager.h>

#include <functional>
#include <string>
#include <vector>

#include "base/handlers.h"

namespace tools {

// Returns a random uuid from the kernel.
std::string NewUuid();

// A client of the library for tools and tests: sends commands and stores responses and updates. The
// library has one client per process, so only one object may exist at a time. All calls and
// callbacks are on the main loop's thread.
class Agent {
 public:
  struct Response {
    std::string uuid;
    int status;
    std::string result;
    std::string error;
  };
  struct Update {
    qor_handler_update_type_e type;
    Handler handler;
  };
  // Called with the handler's application id, the uuid and the requested seconds. Returns whether
  // the extension is granted.
  using Negotiator = std::function<bool(const std::string&, const std::string&, double)>;

  // Starts the library. Throws std::runtime_error on failure.
  Agent(int execution_timeout_ms, int connection_timeout_ms);
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;
  ~Agent();

  // Sets the timeouts of commands sent from now on. Throws std::runtime_error on failure.
  void Configure(int execution_timeout_ms, int connection_timeout_ms);
  // Returns the library's error code, 0 for success.
  int Send(const std::string& uuid, const std::string& request_type, const std::string& payload);

  // By default every extension is granted.
  void SetNegotiator(Negotiator negotiator) { negotiator_ = std::move(negotiator); }
  // A listener receives responses or updates instead of Responses() or Updates().
  void SetResponseListener(std::function<void(const Response&)> listener) {
    on_response_ = std::move(listener);
  }
  void SetUpdateListener(std::function<void(const Update&)> listener) {
    on_update_ = std::move(listener);
  }

  const std::vector<Response>& Responses() const { return responses_; }
  const std::vector<Update>& Updates() const { return updates_; }

 private:
  void OnResponse(Response response);
  void OnUpdate(Update update);

  std::vector<Response> responses_;
  std::vector<Update> updates_;
  Negotiator negotiator_;
  std::function<void(const Response&)> on_response_;
  std::function<void(const Update&)> on_update_;
};

// Whether a response is one of the library's own timeouts.
bool IsTimeout(const Agent::Response& response);

}  // namespace tools

#endif
