// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/protocol/stdio-agent.h"

#include <unistd.h>

#include <cstdint>
#include <exception>
#include <utility>
#include <variant>

#include "base/handlers.h"
#include "base/run-until.h"
#include "qor/agent/command-result.h"
#include "qor/agent/open-agent.h"

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

StdioAgent::StdioAgent(const Options& options)
    : confirms_(options.journal.empty()),
      agent_(OpenAgent(SettingsOf(options))),
      handler_ends_([this](const HandlerEnd& end) { OnHandlerEnd(end); }),
      input_(STDIN_FILENO,
             {[this](int number, std::string_view line) { OnLine(number, line); },
              [this](int number) {
                OnError(number,
                        ProtocolError("longer than " + std::to_string(kMaxLineSize) + " bytes"));
              },
              [this] { SubmitBatch(); }}) {
  json::ValueWriter json;
  Write(Begin(json, "ready").Member("pending", static_cast<std::int64_t>(agent_->Pending())));
}

qor::Agent::Settings StdioAgent::SettingsOf(const Options& options) {
  qor::Agent::Settings settings;
  settings.journal = options.journal;
  settings.replace_damaged_journal = options.replaces_damaged_journal;
  settings.window = options.window;
  settings.execution_timeout = options.timeouts.execution;
  settings.connection_timeout = options.timeouts.connection;
  settings.on_outcome = [this](const qor::Agent::Outcome& outcome) { OnOutcome(outcome); };
  settings.on_extension = [this](const std::string& handler, const std::string& uuid,
                                 double seconds) { return OnExtension(handler, uuid, seconds); };
  settings.on_handler_update = [this](qor_handler_update_type_e type,
                                      qor_handler_manager_handler_info_h info) {
    OnHandlerUpdate(type, info);
  };
  return settings;
}

int StdioAgent::Run() {
  RunUntil([this] {
    return stop_.Caught() != 0 || output_.IsClosed() ||
           (input_.AtEnd() && submitted_.empty() && agent_->Pending() == 0);
  });
  json::ValueWriter json;
  Write(Begin(json, "end").Member("pending", static_cast<std::int64_t>(agent_->Pending())));
  if (output_.IsClosed()) throw ToolError(kError, "standard output is closed");
  return stop_.Caught() != 0 ? stop_.ExitStatus() : kSuccess;
}

void StdioAgent::OnLine(int number, std::string_view line) {
  if (line.find_first_not_of(" \t\r") == std::string_view::npos) return;
  try {
    const Request request = ParseRequest(line);
    // Requests are answered in order.
    if (!std::holds_alternative<CommandRequest>(request)) SubmitBatch();
    std::visit([this, number](const auto& alternative) { Handle(number, alternative); }, request);
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
  Write(json.Member("message", error.what()));
}

void StdioAgent::Handle(int number, const CommandRequest& request) {
  qor::Agent::Command command;
  command.uuid = request.uuid.empty() ? qor::Agent::NewUuid() : request.uuid;
  command.type = request.type;
  command.payload = request.payload;
  command.deadline = command.timestamp + request.timeout;
  command.policy = request.policy;
  command.waits_for_handler = request.waits_for_handler;
  batch_.push_back(std::move(command));
  batch_lines_.push_back(number);
}

void StdioAgent::Handle(int number, const ConfirmRequest& request) {
  try {
    agent_->Confirm(request.uuid);
  } catch (const qor::AgentError& error) {
    throw ProtocolError(error.what(), "confirm");
  }
  json::ValueWriter json;
  Write(Begin(json, "confirmed", number).Member("uuid", request.uuid));
}

void StdioAgent::Handle(int number, const HandlersRequest&) {
  json::ValueWriter json;
  Begin(json, "handlers", number).Key("handlers").BeginArray();
  for (const auto& handler : ListHandlers()) {
    json.BeginObject().Member("handler", handler.app_id);
    WriteTypes(json, handler.request_types);
    json.EndObject();
  }
  Write(json.EndArray());
}

void StdioAgent::Handle(int number, const NegotiationRequest& negotiation) {
  grants_ = negotiation.grant;
  json::ValueWriter json;
  Write(Begin(json, "negotiation", number).Member("negotiation", grants_ ? "grant" : "refuse"));
}

void StdioAgent::SubmitBatch() {
  const auto commands = std::exchange(batch_, {});
  const auto lines = std::exchange(batch_lines_, {});
  std::vector<int> errors;
  try {
    errors = agent_->SubmitMany(commands);
  } catch (const qor::AgentError& error) {
    errors.assign(commands.size(), error.Code());
  }
  for (std::size_t i = 0; i < commands.size(); ++i) OnSubmitted(commands[i], lines[i], errors[i]);
}

void StdioAgent::OnSubmitted(const qor::Agent::Command& command, int line, int error) {
  json::ValueWriter json;
  if (error == QOR_AGENT_ERROR_NONE) {
    submitted_[command.uuid] = {line, Clock::now()};
    return Write(Begin(json, "accepted", line).Member("uuid", command.uuid));
  }
  CommandResult result;
  result.outcome.uuid = command.uuid;
  result.outcome.type = command.type;
  result.rejection = error;
  WriteMembers(Begin(json, "outcome", line), result);
  Write(json);
}

void StdioAgent::OnOutcome(const qor::Agent::Outcome& outcome) {
  CommandResult result;
  result.outcome = outcome;
  int line = 0;
  const auto submitted = submitted_.find(outcome.uuid);
  if (submitted != submitted_.end()) {
    line = submitted->second.line;
    result.latency = Clock::now() - submitted->second.time;
    submitted_.erase(submitted);
  }
  json::ValueWriter json;
  WriteMembers(Begin(json, outcome.is_amendment ? "amendment" : "outcome", line), result);
  Write(json);
  if (confirms_) agent_->Confirm(outcome.uuid);
}

void StdioAgent::OnHandlerUpdate(qor_handler_update_type_e type,
                                 qor_handler_manager_handler_info_h info) {
  const Handler handler = HandlerOf(info);
  json::ValueWriter json;
  Begin(json, tools::NameOf(type)).Member("handler", handler.app_id);
  WriteTypes(json, handler.request_types);
  Write(json);
}

bool StdioAgent::OnExtension(const std::string& handler, const std::string& uuid, double seconds) {
  json::ValueWriter json;
  Begin(json, "extension").Member("uuid", uuid).Member("handler", handler);
  Write(json.Member("seconds", seconds).Member("granted", grants_));
  return grants_;
}

void StdioAgent::OnHandlerEnd(const HandlerEnd& end) {
  json::ValueWriter json;
  WriteMembers(Begin(json, "exited"), end);
  Write(json);
}

}  // namespace tools::cli
