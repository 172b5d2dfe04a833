// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An example handler application. Each request type shows one thing that a handler can do with a
// command; which types a package declares is up to its res/handler.yaml.

#include <Ecore.h>
#include <app_common.h>
#include <qor/handler.h>
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

// The text in upper case, and who made it so.
void Upper(const qor::Command& command) {
  std::string text = command.Payload();
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  command.Succeed("{\"text\":" + text + ",\"by\":\"" + AppId() + "\"}");
}

void Reject(const qor::Command& command) {
  command.Fail(R"({"ErrorCode":42,"ErrorDescription":"this handler refuses"})");
}

// The number of seconds that the payload is. Fails the command, and returns nothing, when it is
// none: NaN would stop the timers of the main loop.
std::optional<double> ReadSeconds(const qor::Command& command) {
  const double seconds = std::strtod(command.Payload().c_str(), nullptr);
  if (std::isfinite(seconds)) return seconds;
  command.Fail(R"({"ErrorDescription":"the payload is not a number of seconds"})");
  return std::nullopt;
}

// Answers after the seconds that the payload names, whether the agent waits that long or not.
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

// Takes longer than the agent allows: asks for the seconds that the payload names, works that long
// when they are granted and gives up at once when they are not.
void Slow(const qor::Command& command) {
  const auto seconds = ReadSeconds(command);
  if (!seconds) return;
  if (!command.AskForSeconds(*seconds * 2)) {
    command.Fail(R"({"ErrorDescription":"no more time was granted"})");
    return;
  }
  Delay(command);
}

// Keeps the command for ever: dropping it would answer it.
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
