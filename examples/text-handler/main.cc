// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An example handler application with one request type per use of the SDK. A package's
// res/handler.yaml selects the request types that it declares.

#include <Ecore.h>
#include <app_common.h>
#include <qor/handler.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

std::string AppId() {
  char* id = nullptr;
  if (app_get_id(&id) != APP_ERROR_NONE) return {};
  const std::unique_ptr<char, decltype(&std::free)> owned(id, std::free);
  return id;
}

void Echo(const qor::Command& command) { command.Succeed(command.Payload()); }

// Answers with the text in upper case and the handler's application id. The text is the payload's
// JSON string, or the payload itself if that is something else.
void Upper(const qor::Command& command) {
  rapidjson::Document payload;
  payload.Parse(command.Payload().c_str());
  std::string text = payload.IsString() ? payload.GetString() : command.Payload();
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  rapidjson::StringBuffer json;
  rapidjson::Writer<rapidjson::StringBuffer> writer(json);
  writer.StartObject();
  writer.Key("text");
  writer.String(text.c_str());
  writer.Key("by");
  writer.String(AppId().c_str());
  writer.EndObject();
  command.Succeed(json.GetString());
}

void Reject(const qor::Command& command) {
  command.Fail(R"({"ErrorCode":42,"ErrorDescription":"this handler refuses"})");
}

// Returns the payload as a number of seconds. Fails the command and returns nothing when it is not
// finite: NaN would stop the main loop's timers.
std::optional<double> ReadSeconds(const qor::Command& command) {
  const double seconds = std::strtod(command.Payload().c_str(), nullptr);
  if (std::isfinite(seconds)) return seconds;
  command.Fail(R"({"ErrorDescription":"the payload is not a number of seconds"})");
  return std::nullopt;
}

// Answers after the payload's number of seconds, even when that is after the timeout.
void Delay(const qor::Command& command) {
  const auto seconds = ReadSeconds(command);
  if (!seconds) return;
  ecore_timer_add(
      *seconds,
      [](void* data) -> Eina_Bool {
        const std::unique_ptr<qor::Command> kept(static_cast<qor::Command*>(data));
        kept->Succeed(R"({"text":"done slowly"})");
        return ECORE_CALLBACK_CANCEL;
      },
      new qor::Command(command));
}

// Takes longer than the timeout: requests an extension, works for the payload's number of seconds
// when it is granted and fails at once when it is denied.
void Slow(const qor::Command& command) {
  const auto seconds = ReadSeconds(command);
  if (!seconds) return;
  if (!command.AskForSeconds(*seconds * 2)) {
    command.Fail(R"({"ErrorDescription":"no more time was granted"})");
    return;
  }
  Delay(command);
}

// Keeps the handle forever, because dropping the last handle fails the command.
void NeverAnswer(const qor::Command& command) {
  static std::vector<qor::Command> forgotten;
  forgotten.push_back(command);
}

void Crash(const qor::Command&) { kill(getpid(), SIGKILL); }

}  // namespace

int main(int argc, char** argv) {
  qor::Handler handler;
  handler.On("text.echo", Echo)
      .On("text.upper", Upper)
      .On("text.reject", Reject)
      .On("text.delay", Delay)
      .On("text.slow", Slow)
      .On("text.forget", NeverAnswer)
      .On("text.crash", Crash);
  return handler.Run(argc, argv);
}
