// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_AGENT_AGENT_H_
#define QOR_TOOLS_AGENT_AGENT_H_

#include <qor_handler_manager.h>

#include <functional>
#include <string>
#include <vector>

namespace tools {

// Runs the main loop until `condition` holds, which is looked at before every wait, or until the
// time is up. Returns whether it holds. Not to be called from within the loop.
bool RunUntil(const std::function<bool()>& condition, double limit_seconds);

// A random uuid, from the kernel.
std::string NewUuid();

// A client of the library, for tools and tests: sends commands, remembers what came back. One at a
// time; everything on the main loop's thread.
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
    std::string app_id;
    std::vector<std::string> request_types;
  };
  struct Handler {
    std::string app_id;
    std::vector<std::string> request_types;
  };
  // Handler, uuid, seconds; returns whether they are granted.
  using Negotiator = std::function<bool(const std::string&, const std::string&, double)>;

  // Starts the library. Milliseconds. Throws std::runtime_error when that fails.
  Agent(int execution_timeout_ms, int connection_timeout_ms);
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;
  ~Agent();

  // Timeouts of what is sent from now on, in milliseconds. Throws std::runtime_error.
  void Configure(int execution_timeout_ms, int connection_timeout_ms);
  // Returns the library's code.
  int Send(const std::string& uuid, const std::string& request_type, const std::string& payload);
  std::vector<Handler> Handlers() const;

  // Without one every request is granted.
  void SetNegotiator(Negotiator negotiator) { negotiator_ = std::move(negotiator); }
  // Each hears of them at once, and they are not remembered any more.
  void SetResponseListener(std::function<void(const Response&)> listener) {
    on_response_ = std::move(listener);
  }
  void SetUpdateListener(std::function<void(const Update&)> listener) {
    on_update_ = std::move(listener);
  }

  const std::vector<Response>& Responses() const { return responses_; }
  const std::vector<Update>& Updates() const { return updates_; }
  // The first response for a uuid, or null.
  const Response* FindResponse(const std::string& uuid) const;
  // Waits for it.
  const Response* WaitForResponse(const std::string& uuid, double limit_seconds) const;

 private:
  void Hear(Response response);
  void Hear(Update update);

  std::vector<Response> responses_;
  std::vector<Update> updates_;
  Negotiator negotiator_;
  std::function<void(const Response&)> on_response_;
  std::function<void(const Update&)> on_update_;
};

// "added", "removed" or "updated".
const char* NameOf(qor_handler_update_type_e type);

// Whether a response is one of the library's own timeouts.
bool IsTimeout(const Agent::Response& response);

}  // namespace tools

#endif
