// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "line-agent.h"

#include <unistd.h>

#include <cstdint>
#include <exception>
#include <variant>
#include <vector>

namespace qor {

namespace {

// A wait without a limit is made of these.
constexpr double kHourSeconds = 3600;

// The beginning of an event's line; 0 where it answers no line.
JsonWriter& Begin(JsonWriter& json, const char* event, int line = 0) {
  json.BeginObject().Member("event", event);
  return line > 0 ? json.Member("line", line) : json;
}

void WriteTypes(JsonWriter& json, const std::vector<std::string>& types) {
  json.Key("requestTypes").BeginArray();
  for (const std::string& type : types) json.Value(type);
  json.EndArray();
}

}  // namespace

LineAgent::LineAgent()
    : courier_(timeouts_, [this](const Outcome& outcome) { OnOutcome("result", outcome); }),
      input_(STDIN_FILENO,
             {[this](int number, std::string_view line) { OnLine(number, line); },
              [this](int number) {
                OnFault(number,
                        LineFault("longer than " + std::to_string(kLongestLine) + " bytes", ""));
              }}) {
  courier_.SetLateListener([this](const Outcome& outcome) { OnOutcome("late", outcome); });
  courier_.SetNegotiator([this](const std::string& handler, const std::string& uuid,
                                double seconds) { return Negotiate(handler, uuid, seconds); });
  courier_.Agent().SetUpdateListener(
      [this](const tools::Agent::Update& update) { OnUpdate(update); });
}

int LineAgent::Run() {
  const auto done = [this] {
    return stop_.Caught() != 0 || output_.IsClosed() || (input_.AtEnd() && courier_.Pending() == 0);
  };
  while (!tools::RunUntil(done, kHourSeconds)) {
  }
  JsonWriter json;
  Begin(json, "end").Member("pending", static_cast<std::int64_t>(courier_.Pending()));
  output_.Write(json.EndObject().Text());
  if (output_.IsClosed()) throw Failure(kError, "standard output is closed");
  return stop_.Caught() != 0 ? stop_.ExitStatus() : kSuccess;
}

void LineAgent::OnLine(int number, std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  try {
    std::visit([this, number](const auto& request) { Do(number, request); }, ParseAgentLine(line));
  } catch (const LineFault& fault) {
    OnFault(number, fault);
  } catch (const std::exception& error) {
    // The main loop, which called, is C.
    OnFault(number, LineFault(error.what(), ""));
  }
}

void LineAgent::OnFault(int number, const LineFault& fault) {
  JsonWriter json;
  Begin(json, "error", number);
  if (fault.Column() > 0) json.Member("column", fault.Column());
  if (!fault.Key().empty()) json.Member("key", fault.Key());
  output_.Write(json.Member("message", fault.what()).EndObject().Text());
}

void LineAgent::Do(int number, const CommandLine& command) {
  const std::string uuid = command.uuid.empty() ? tools::NewUuid() : command.uuid;
  courier_.Send(uuid, command.type, command.payload, number);
}

void LineAgent::Do(int number, const ConfigurationLine& configuration) {
  timeouts_.execution_ms = configuration.execution_timeout_ms.value_or(timeouts_.execution_ms);
  timeouts_.connection_ms = configuration.connection_timeout_ms.value_or(timeouts_.connection_ms);
  courier_.SetTimeouts(timeouts_);
  JsonWriter json;
  Begin(json, "configuration", number).Member("executionTimeout", timeouts_.execution_ms);
  json.Member("connectionTimeout", timeouts_.connection_ms);
  output_.Write(json.EndObject().Text());
}

void LineAgent::Do(int number, const HandlersLine&) {
  JsonWriter json;
  Begin(json, "handlers", number).Key("handlers").BeginArray();
  for (const auto& handler : courier_.Agent().Handlers()) {
    json.BeginObject().Member("handler", handler.app_id);
    WriteTypes(json, handler.request_types);
    json.EndObject();
  }
  output_.Write(json.EndArray().EndObject().Text());
}

void LineAgent::Do(int number, const NegotiationLine& negotiation) {
  grant_ = negotiation.grant;
  JsonWriter json;
  Begin(json, "negotiation", number).Member("negotiation", grant_ ? "grant" : "refuse");
  output_.Write(json.EndObject().Text());
}

void LineAgent::OnOutcome(const char* event, const Outcome& outcome) {
  JsonWriter json;
  WriteMembers(Begin(json, event, outcome.mark), outcome);
  output_.Write(json.EndObject().Text());
}

void LineAgent::OnUpdate(const tools::Agent::Update& update) {
  JsonWriter json;
  Begin(json, tools::NameOf(update.type)).Member("handler", update.app_id);
  WriteTypes(json, update.request_types);
  output_.Write(json.EndObject().Text());
}

bool LineAgent::Negotiate(const std::string& handler, const std::string& uuid, double seconds) {
  JsonWriter json;
  Begin(json, "extension").Member("uuid", uuid).Member("handler", handler);
  json.Member("seconds", seconds).Member("granted", grant_);
  output_.Write(json.EndObject().Text());
  return grant_;
}

}  // namespace qor
