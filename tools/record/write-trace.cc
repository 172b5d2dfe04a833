// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <map>

#include "json/value-writer.h"
#include "record/writers.h"

namespace tools::record {

namespace {

constexpr char kCategory[] = "command";

class TraceWriter {
 public:
  explicit TraceWriter(const Record& record) : record_(record) {
    for (const Handler& handler : record.handlers) NumberOf(handler.id);
  }

  std::string Write() {
    json_.BeginObject().Member("displayTimeUnit", "ms");
    json_.Key("otherData").BeginObject().Member("begin", FormatWallTime(record_.wall)).EndObject();
    json_.Key("traceEvents").BeginArray();
    for (std::size_t i = 0; i < record_.commands.size(); ++i) WriteCommand(i + 1);
    for (const Handler& handler : record_.handlers) WriteProcesses(handler);
    for (const Agent& agent : record_.agents) WriteNames(agent);
    json_.EndArray().EndObject();
    return json_.Text();
  }

 private:
  // Viewers identify threads by number.
  int NumberOf(const std::string& handler) {
    return numbers_.emplace(handler, static_cast<int>(numbers_.size()) + 1).first->second;
  }

  json::ValueWriter& Begin(const char* phase, const std::string& name, std::int64_t process,
                           const std::string& handler, std::int64_t time) {
    return json_.BeginObject()
        .Member("ph", phase)
        .Member("name", name)
        .Member("cat", kCategory)
        .Member("pid", process)
        .Member("tid", NumberOf(handler))
        .Member("ts", time);
  }

  // Commands of one handler overlap, so they are asynchronous events with the number as id.
  void WriteCommand(std::size_t number) {
    const Command& command = record_.commands[number - 1];
    const auto step = [&](const char* phase, const std::string& name,
                          std::int64_t time) -> json::ValueWriter& {
      return Begin(phase, name, command.process, command.handler, time)
          .Member("id", std::to_string(number));
    };
    const std::string& name = command.type.empty() ? command.uuid : command.type;
    step("b", name, command.begin)
        .Key("args")
        .BeginObject()
        .Member("uuid", command.uuid)
        .Member("payload", command.payload)
        .Member("outcome", NameOf(command.outcome))
        .EndObject()
        .EndObject();
    for (const Segment& segment : command.segments) {
      step("b", NameOf(segment.phase), segment.begin).EndObject();
      step("e", NameOf(segment.phase), segment.end).EndObject();
    }
    for (const std::int64_t time : command.delivered) step("n", "delivered", time).EndObject();
    for (const Extension& extension : command.extensions) {
      step("n", extension.granted ? "extension granted" : "extension refused", extension.time)
          .Key("args")
          .BeginObject()
          .Member("seconds", extension.seconds)
          .EndObject()
          .EndObject();
    }
    step("e", name, command.end).EndObject();
    for (const Answer& answer : command.late_answers) {
      Begin("i", "late result of " + name, command.process, command.handler, answer.time)
          .Member("s", "t")
          .Key("args")
          .BeginObject()
          .Member("uuid", command.uuid)
          .Member("result", answer.result)
          .Member("error", answer.error)
          .EndObject()
          .EndObject();
    }
  }

  // Connections and exits.
  void WriteProcesses(const Handler& handler) {
    for (const Connection& connection : handler.connections) {
      Begin("X", "connected", connection.process, handler.id, connection.begin)
          .Member("dur", connection.end - connection.begin)
          .EndObject();
    }
    for (const Exit& exit : handler.exits) {
      Begin("i", "handler " + exit.text, exit.process, handler.id, exit.time)
          .Member("s", "t")
          .Key("args")
          .BeginObject()
          .Member("process", exit.handler_process)
          .Member("status", exit.status)
          .Member("signal", exit.signal)
          .EndObject()
          .EndObject();
    }
  }

  void WriteNames(const Agent& agent) {
    WriteName("process_name", agent.process, 0, agent.program);
    for (const auto& [handler, number] : numbers_) {
      WriteName("thread_name", agent.process, number, handler.empty() ? "no handler" : handler);
    }
  }

  void WriteName(const char* what, std::int64_t process, int thread, const std::string& name) {
    json_.BeginObject()
        .Member("ph", "M")
        .Member("name", what)
        .Member("pid", process)
        .Member("tid", thread)
        .Key("args")
        .BeginObject()
        .Member("name", name)
        .EndObject()
        .EndObject();
  }

  const Record& record_;
  std::map<std::string, int> numbers_;
  json::ValueWriter json_;
};

}  // namespace

void WriteTrace(const Record& record, std::ostream& out) {
  out << TraceWriter(record).Write() << "\n";
}

}  // namespace tools::record
