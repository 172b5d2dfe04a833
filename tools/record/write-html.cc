// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <string>
#include <string_view>

#include "json/value-writer.h"
#include "record/writers.h"

namespace tools::record {

// The page; contains kRecordPlaceholder.
extern const char kPage[];

namespace {

constexpr std::string_view kRecordPlaceholder = "@record@";

void WriteAnswer(const Answer& answer, json::ValueWriter& json) {
  json.BeginObject()
      .Member("time", answer.time)
      .Member("status", answer.status)
      .Member("result", answer.result)
      .Member("error", answer.error)
      .EndObject();
}

void WriteOptional(const char* key, const std::optional<std::int64_t>& time,
                   json::ValueWriter& json) {
  if (time) json.Member(key, *time);
}

void WriteTimes(const char* key, const std::vector<std::int64_t>& times, json::ValueWriter& json) {
  json.Key(key).BeginArray();
  for (const std::int64_t time : times) json.Value(time);
  json.EndArray();
}

void WriteExits(const std::vector<Exit>& exits, json::ValueWriter& json) {
  json.Key("exits").BeginArray();
  for (const Exit& exit : exits) {
    json.BeginObject()
        .Member("process", exit.handler_process)
        .Member("time", exit.time)
        .Member("status", exit.status)
        .Member("signal", exit.signal)
        .Member("text", exit.text)
        .EndObject();
  }
  json.EndArray();
}

void WriteCommand(const Command& command, json::ValueWriter& json) {
  json.BeginObject()
      .Member("process", command.process)
      .Member("uuid", command.uuid)
      .Member("type", command.type)
      .Member("payload", command.payload)
      .Member("handler", command.handler)
      .Member("outcome", NameOf(command.outcome))
      .Member("begin", command.begin)
      .Member("end", command.end);
  if (command.outcome == Outcome::kRefused) json.Member("reason", ReasonOf(command.code));
  WriteOptional("accepted", command.accepted, json);
  WriteOptional("launched", command.launched, json);
  WriteOptional("connected", command.connected, json);
  WriteTimes("delivered", command.delivered, json);
  WriteTimes("disconnected", command.disconnected, json);
  WriteExits(command.exits, json);
  json.Key("extensions").BeginArray();
  for (const Extension& extension : command.extensions) {
    json.BeginObject()
        .Member("time", extension.time)
        .Member("seconds", extension.seconds)
        .Member("granted", extension.granted)
        .EndObject();
  }
  json.EndArray();
  if (command.answer) WriteAnswer(*command.answer, json.Key("answer"));
  json.Key("lateAnswers").BeginArray();
  for (const Answer& answer : command.late_answers) WriteAnswer(answer, json);
  json.EndArray().Key("segments").BeginArray();
  for (const Segment& segment : command.segments) {
    json.BeginObject()
        .Member("phase", NameOf(segment.phase))
        .Member("begin", segment.begin)
        .Member("end", segment.end)
        .EndObject();
  }
  json.EndArray().EndObject();
}

std::string ToJson(const Record& record) {
  json::ValueWriter json;
  json.BeginObject()
      .Member("begin", FormatWallTime(record.wall))
      .Member("duration", record.duration)
      .Key("agents")
      .BeginArray();
  for (const Agent& agent : record.agents) {
    json.BeginObject()
        .Member("process", agent.process)
        .Member("program", agent.program)
        .EndObject();
  }
  json.EndArray().Key("handlers").BeginArray();
  for (const Handler& handler : record.handlers) {
    json.BeginObject().Member("id", handler.id).Key("connections").BeginArray();
    for (const Connection& connection : handler.connections) {
      json.BeginObject()
          .Member("begin", connection.begin)
          .Member("end", connection.end)
          .EndObject();
    }
    json.EndArray();
    WriteExits(handler.exits, json);
    json.EndObject();
  }
  json.EndArray().Key("commands").BeginArray();
  for (const Command& command : record.commands) WriteCommand(command, json);
  json.EndArray().EndObject();
  return json.Text();
}

// Escapes characters of JSON that could end the script element around it or begin another. The
// value does not change.
std::string EscapeForScript(const std::string& json) {
  std::string safe;
  for (const char c : json) {
    switch (c) {
      case '<':
        safe += "\\u003c";
        break;
      case '>':
        safe += "\\u003e";
        break;
      case '&':
        safe += "\\u0026";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

}  // namespace

void WriteHtml(const Record& record, std::ostream& out) {
  const std::string_view page = kPage;
  const std::size_t position = page.find(kRecordPlaceholder);
  out << page.substr(0, position) << EscapeForScript(ToJson(record))
      << page.substr(position + kRecordPlaceholder.size());
}

}  // namespace tools::record
