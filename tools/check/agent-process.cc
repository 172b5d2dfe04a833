// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "check/agent-process.h"

#include <csignal>
#include <filesystem>
#include <utility>

#include "agent/agent.h"
#include "base/process.h"
#include "base/run-until.h"
#include "json/json.h"
#include "json/value-writer.h"

namespace tools::check {

namespace {

constexpr double kEchoSeconds = 60;
constexpr std::chrono::seconds kExitLimit{10};
// Limit for extensions that the handler requests, beyond the timeouts.
constexpr double kExtensionSeconds = 60;

bool IsJson(const std::string& text) {
  json::Document document;
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(
      text.data(), text.size());
  return !document.HasParseError();
}

std::string TextOf(const json::Value& value) {
  json::StringBuffer text;
  json::Writer<> writer(text);
  value.Accept(writer);
  return {text.GetString(), text.GetSize()};
}

Answer ReadAnswer(const json::Value& event) {
  Answer answer;
  answer.outcome = event["outcome"].GetString();
  if (event.HasMember("status")) answer.status = event["status"].GetInt();
  if (event.HasMember("latencyMs")) answer.latency_ms = event["latencyMs"].GetDouble();
  const json::Value& text = event[event.HasMember("result") ? "result" : "error"];
  // qor agent sends the text as a string unless it is another JSON value.
  answer.text = text.IsString() ? text.GetString() : TextOf(text);
  answer.is_json = !text.IsString() || IsJson(answer.text);
  return answer;
}

}  // namespace

AgentProcess::AgentProcess(const Timeouts& timeouts, std::function<bool()> is_interrupted)
    : timeouts_(timeouts),
      is_interrupted_(std::move(is_interrupted)),
      handlers_{ecore_event_handler_add(ECORE_EXE_EVENT_DATA, OnLines, this),
                ecore_event_handler_add(ECORE_EXE_EVENT_DEL, OnEnd, this)},
      process_(ecore_exe_pipe_run(
          CommandLine({std::filesystem::read_symlink("/proc/self/exe"), "agent"}).c_str(),
          static_cast<Ecore_Exe_Flags>(ECORE_EXE_PIPE_READ | ECORE_EXE_PIPE_READ_LINE_BUFFERED |
                                       ECORE_EXE_PIPE_WRITE),
          nullptr)) {
  if (process_ == nullptr) throw std::runtime_error("cannot start qor agent");
  Write("{\"configuration\":{\"executionTimeout\":" + std::to_string(timeouts.execution_ms) +
        ",\"connectionTimeout\":" + std::to_string(timeouts.connection_ms) + "}}");
}

AgentProcess::~AgentProcess() {
  if (!ended_) {
    const auto has_ended = [this] { return ended_; };
    kill(ecore_exe_pid_get(process_), SIGTERM);
    if (!RunUntil(has_ended, kExitLimit)) {
      kill(ecore_exe_pid_get(process_), SIGKILL);
      RunUntil(has_ended, kExitLimit);
    }
  }
  for (auto* handler : handlers_) ecore_event_handler_del(handler);
}

void AgentProcess::Send(const Command& command) {
  json::ValueWriter line;
  line.BeginObject().Member("uuid", command.uuid).Member("type", command.type);
  line.Member("payload", command.payload).EndObject();
  answers_.erase(command.uuid);
  Write(line.Text());
  // Requests are answered in order, so the echo follows the acceptance of the command.
  Write("{\"negotiation\":\"grant\"}");
  const int awaited = echoes_ + 1;
  if (!WaitUntil([this, awaited] { return echoes_ == awaited; }, kEchoSeconds)) {
    throw std::runtime_error("qor agent does not answer");
  }
}

Answer AgentProcess::Await(const std::string& uuid) {
  const double limit =
      (timeouts_.execution_ms + timeouts_.connection_ms) / 1000.0 + kExtensionSeconds;
  if (!WaitUntil([this, &uuid] { return answers_.count(uuid) != 0; }, limit)) {
    Answer answer;
    answer.outcome = "working";
    answer.latency_ms = limit * 1000;
    return answer;
  }
  return answers_.at(uuid);
}

Eina_Bool AgentProcess::OnLines(void* data, int, void* event) {
  auto* self = static_cast<AgentProcess*>(data);
  const auto* output = static_cast<Ecore_Exe_Event_Data*>(event);
  if (output->exe != self->process_) return ECORE_CALLBACK_PASS_ON;
  for (const auto* line = output->lines; line->line != nullptr; ++line) {
    self->OnLine({line->line, static_cast<std::size_t>(line->size)});
  }
  return ECORE_CALLBACK_DONE;
}

Eina_Bool AgentProcess::OnEnd(void* data, int, void* event) {
  auto* self = static_cast<AgentProcess*>(data);
  if (static_cast<Ecore_Exe_Event_Del*>(event)->exe != self->process_) {
    return ECORE_CALLBACK_PASS_ON;
  }
  self->ended_ = true;
  return ECORE_CALLBACK_DONE;
}

void AgentProcess::OnLine(const std::string& line) {
  json::Document event;
  event.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
  if (!event.IsObject()) return;
  const std::string name = event["event"].GetString();
  if (name == "negotiation") ++echoes_;
  if (name != "result" && name != "late") return;
  const std::string uuid = event["uuid"].GetString();
  const Answer answer = ReadAnswer(event);
  if (name == "result") {
    answers_[uuid] = answer;
    if (answer.IsFromHandler()) answered_.insert(uuid);
  } else if (answered_.count(uuid) != 0) {
    answered_twice_.insert(uuid);
  }
}

void AgentProcess::Write(const std::string& line) {
  const std::string bytes = line + "\n";
  ecore_exe_send(process_, bytes.data(), static_cast<int>(bytes.size()));
}

bool AgentProcess::WaitUntil(const std::function<bool()>& condition, double limit_seconds) const {
  RunUntil([&] { return ended_ || is_interrupted_() || condition(); },
           std::chrono::duration<double>(limit_seconds));
  if (is_interrupted_()) throw Interrupted();
  if (ended_ && !condition()) throw std::runtime_error("qor agent exited unexpectedly");
  return condition();
}

}  // namespace tools::check
