// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/protocol/stdio-agent.h"

#include <unistd.h>

#include <cstdint>
#include <exception>
#include <variant>
#include <vector>

#include "base/run-until.h"
#include "qor/output/outcome-report.h"

namespace tools::cli {

namespace {

// Opens the object of an event. `line`: the number of the request that it answers, or 0.
json::ValueWriter& Begin(json::ValueWriter& json, const char* event, int line = 0) {
  json.BeginObject().Member("event", event);
  return line > 0 ? json.Member("line", line) : json;
}

void WriteTypes(json::ValueWriter& json, const std::vector<std::string>& types) {
  json.Key("requestTypes").BeginArray();
  for (const std::string& type : types) json.Value(type);
  json.EndArray();
}

}  // namespace

StdioAgent::StdioAgent()
    : tracker_(timeouts_, [this](const Outcome& outcome) { OnOutcome("result", outcome); }),
      input_(STDIN_FILENO,
             {[this](int number, std::string_view line) { OnLine(number, line); },
              [this](int number) {
                OnError(number,
                        ProtocolError("longer than " + std::to_string(kMaxLineSize) + " bytes"));
              }}) {
  tracker_.SetLateListener([this](const Outcome& outcome) { OnOutcome("late", outcome); });
  tracker_.SetNegotiator([this](const std::string& handler, const std::string& uuid,
                                double seconds) { return Negotiate(handler, uuid, seconds); });
  tracker_.GetAgent().SetUpdateListener([this](const Agent::Update& update) { OnUpdate(update); });
}

int StdioAgent::Run() {
  const auto done = [this] {
    return stop_.Caught() != 0 || output_.IsClosed() ||
           (input_.AtEnd() && tracker_.CountPending() == 0);
  };
  RunUntil(done);
  json::ValueWriter json;
  Begin(json, "end").Member("pending", static_cast<std::int64_t>(tracker_.CountPending()));
  output_.Write(json.EndObject().Text());
  if (output_.IsClosed()) throw ToolError(kError, "standard output is closed");
  return stop_.Caught() != 0 ? stop_.ExitStatus() : kSuccess;
}

void StdioAgent::OnLine(int number, std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  try {
    std::visit([this, number](const auto& request) { Handle(number, request); },
               ParseRequest(line));
  } catch (const ProtocolError& error) {
    OnError(number, error);
  } catch (const std::exception& error) {
    // Exceptions must not reach the main loop, which is C.
    OnError(number, ProtocolError(error.what()));
  }
}

void StdioAgent::OnError(int number, const ProtocolError& error) {
  json::ValueWriter json;
  Begin(json, "error", number);
  if (error.Column() > 0) json.Member("column", error.Column());
  if (!error.Key().empty()) json.Member("key", error.Key());
  output_.Write(json.Member("message", error.what()).EndObject().Text());
}

void StdioAgent::Handle(int number, const CommandRequest& command) {
  const std::string uuid = command.uuid.empty() ? NewUuid() : command.uuid;
  tracker_.Send(uuid, command.type, command.payload, number);
}

void StdioAgent::Handle(int number, const ConfigurationRequest& configuration) {
  timeouts_.execution_ms = configuration.execution_timeout_ms.value_or(timeouts_.execution_ms);
  timeouts_.connection_ms = configuration.connection_timeout_ms.value_or(timeouts_.connection_ms);
  tracker_.SetTimeouts(timeouts_);
  json::ValueWriter json;
  Begin(json, "configuration", number).Member("executionTimeout", timeouts_.execution_ms);
  json.Member("connectionTimeout", timeouts_.connection_ms);
  output_.Write(json.EndObject().Text());
}

void StdioAgent::Handle(int number, const HandlersRequest&) {
  json::ValueWriter json;
  Begin(json, "handlers", number).Key("handlers").BeginArray();
  for (const auto& handler : ListHandlers()) {
    json.BeginObject().Member("handler", handler.app_id);
    WriteTypes(json, handler.request_types);
    json.EndObject();
  }
  output_.Write(json.EndArray().EndObject().Text());
}

void StdioAgent::Handle(int number, const NegotiationRequest& negotiation) {
  grant_ = negotiation.grant;
  json::ValueWriter json;
  Begin(json, "negotiation", number).Member("negotiation", grant_ ? "grant" : "refuse");
  output_.Write(json.EndObject().Text());
}

void StdioAgent::OnOutcome(const char* event, const Outcome& outcome) {
  json::ValueWriter json;
  WriteMembers(Begin(json, event, outcome.tag), outcome);
  output_.Write(json.EndObject().Text());
}

void StdioAgent::OnUpdate(const Agent::Update& update) {
  json::ValueWriter json;
  Begin(json, tools::NameOf(update.type)).Member("handler", update.handler.app_id);
  WriteTypes(json, update.handler.request_types);
  output_.Write(json.EndObject().Text());
}

bool StdioAgent::Negotiate(const std::string& handler, const std::string& uuid, double seconds) {
  json::ValueWriter json;
  Begin(json, "extension").Member("uuid", uuid).Member("handler", handler);
  json.Member("seconds", seconds).Member("granted", grant_);
  output_.Write(json.EndObject().Text());
  return grant_;
}

}  // namespace tools::cli
