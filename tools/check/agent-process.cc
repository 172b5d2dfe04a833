// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "check/agent-process.h"

#include <qor_handler_manager.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <utility>
#include <vector>

#include "base/process.h"
#include "base/run-until.h"
#include "common/timeout-errors.h"
#include "json/text.h"
#include "json/value-writer.h"

namespace tools::check {

namespace {

using std::chrono::duration_cast;
using std::chrono::seconds;

constexpr seconds kSendLimit{60};
constexpr seconds kExitLimit{10};
// Longer than the library's own timeouts can be late on a busy machine.
constexpr seconds kGrace{2};
// For extensions that the handler requests, beyond the timeouts.
constexpr seconds kMaxExtension{60};
constexpr double kLongestSeconds = 3600;

std::string RejectionText(const std::string& type, int error) {
  switch (error) {
    case QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND:
      return "no handler serves " + type;
    case QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL:
      return "the handler of " + type + " could not be launched";
    default:
      return type + " was not accepted: error " + std::to_string(error);
  }
}

Answer ReadAnswer(int status, const std::string& text) {
  Answer answer;
  answer.status = status;
  answer.is_json = !json::FindSyntaxError(text);
  answer.text = answer.is_json ? json::Compact(text) : text;
  if (status == QOR_REQUEST_STATUS_SUCCESS) {
    answer.kind = Answer::Kind::kSucceeded;
  } else if (common::TimeoutOf(text) != common::Timeout::kNone) {
    answer.kind = Answer::Kind::kTimeout;
  } else {
    answer.kind = Answer::Kind::kFailed;
  }
  return answer;
}

std::string CommandLineOf(const Timeouts& timeouts) {
  return CommandLine({std::filesystem::read_symlink("/proc/self/exe"), "probe",
                      "--execution-timeout", std::to_string(timeouts.execution.count()),
                      "--connection-timeout", std::to_string(timeouts.connection.count())});
}

}  // namespace

AgentProcess::AgentProcess(const Timeouts& timeouts, std::function<bool()> is_interrupted)
    : timeouts_(timeouts),
      is_interrupted_(std::move(is_interrupted)),
      handlers_{ecore_event_handler_add(ECORE_EXE_EVENT_DATA, OnLines, this),
                ecore_event_handler_add(ECORE_EXE_EVENT_DEL, OnEnd, this)},
      process_(ecore_exe_pipe_run(
          CommandLineOf(timeouts).c_str(),
          static_cast<Ecore_Exe_Flags>(ECORE_EXE_PIPE_READ | ECORE_EXE_PIPE_READ_LINE_BUFFERED |
                                       ECORE_EXE_PIPE_WRITE),
          nullptr)) {
  if (process_ == nullptr) throw std::runtime_error("cannot start qor probe");
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
  const auto now = Clock::now();
  Pending& pending = commands_[command.uuid];
  pending = {};
  pending.type = command.type;
  pending.sent = now;
  pending.limit = now + timeouts_.Total() + kGrace;
  json::ValueWriter line;
  line.BeginObject().Member("uuid", command.uuid).Member("type", command.type);
  const std::string bytes = line.Member("payload", command.payload).EndObject().Text() + "\n";
  ecore_exe_send(process_, bytes.data(), static_cast<int>(bytes.size()));
  WaitUntil([&pending] { return pending.is_sent; }, kSendLimit);
  if (!pending.is_sent) throw std::runtime_error("qor probe does not answer");
}

Answer AgentProcess::Await(const std::string& uuid) {
  const Pending& command = commands_.at(uuid);
  const auto last = command.sent + timeouts_.Total() + kMaxExtension;
  const auto end = [&] { return std::min(command.limit, last); };
  while (!command.answer && Clock::now() < end()) {
    WaitUntil([&command] { return command.answer.has_value(); }, end() - Clock::now());
  }
  if (command.answer) return *command.answer;
  Answer answer;
  answer.kind = command.limit < last ? Answer::Kind::kNotFetched : Answer::Kind::kWorking;
  answer.latency = Clock::now() - command.sent;
  return answer;
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
  const auto text = [&event](const char* key) {
    return std::string(event[key].GetString(), event[key].GetStringLength());
  };
  if (event.HasMember("sent")) {
    OnSent(commands_[text("sent")], event["error"].GetInt());
  } else if (event.HasMember("answered")) {
    OnAnswered(text("answered"), event["status"].GetInt(), text("text"));
  } else if (event.HasMember("extension")) {
    // Null for infinity.
    const json::Value& asked = event["seconds"];
    OnExtension(commands_[text("extension")],
                asked.IsNumber() ? asked.GetDouble() : kLongestSeconds);
  } else if (event.HasMember("ended")) {
    OnHandlerEnded(text("text"));
  }
}

void AgentProcess::OnSent(Pending& command, int error) {
  command.is_sent = true;
  if (error == QOR_HANDLER_MANAGER_ERROR_NONE) return;
  command.answer.emplace();
  command.answer->text = RejectionText(command.type, error);
}

void AgentProcess::OnAnswered(const std::string& uuid, int status, const std::string& text) {
  Pending& command = commands_[uuid];
  Answer answer = ReadAnswer(status, text);
  if (command.answer) {
    if (command.answer->IsFromHandler()) answered_twice_.insert(uuid);
    return;
  }
  answer.latency = Clock::now() - command.sent;
  command.answer = std::move(answer);
}

// Only one handler is installed. What was not answered until now has not been delivered.
void AgentProcess::OnHandlerEnded(const std::string& text) {
  for (auto& [uuid, command] : commands_) {
    if (command.answer) continue;
    command.answer.emplace();
    command.answer->kind = Answer::Kind::kEnded;
    command.answer->text = text;
  }
}

void AgentProcess::OnExtension(Pending& command, double asked) {
  // Cut, so that no sum of times overflows.
  const std::chrono::duration<double> granted(std::clamp(asked, 0.0, kLongestSeconds));
  command.limit =
      std::max(command.limit, Clock::now() + kGrace + duration_cast<Clock::duration>(granted));
}

void AgentProcess::WaitUntil(const std::function<bool()>& condition, Clock::duration limit) const {
  RunUntil([&] { return ended_ || is_interrupted_() || condition(); }, limit);
  if (is_interrupted_()) throw Interrupted();
  if (ended_ && !condition()) throw std::runtime_error("qor probe exited unexpectedly");
}

}  // namespace tools::check
