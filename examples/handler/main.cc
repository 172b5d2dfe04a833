// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An example handler application. Each request type shows one thing that a handler can do with a
// command; which types a package declares is up to its res/handler.yaml.

#include <Ecore.h>
#include <service_app.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "command-channel.h"

namespace {

using example::Command;
using example::CommandChannel;

std::string AppId() {
  char* id = nullptr;
  if (app_get_id(&id) != APP_ERROR_NONE) return {};
  const std::unique_ptr<char, decltype(&std::free)> owned(id, std::free);
  return id;
}

void Echo(CommandChannel& channel, const Command& command) {
  channel.Succeed(command.uuid, command.payload);
}

// The text in upper case, and who made it so.
void Upper(CommandChannel& channel, const Command& command) {
  std::string text = command.payload;
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  channel.Succeed(command.uuid, "{\"text\":" + text + ",\"by\":\"" + AppId() + "\"}");
}

void Reject(CommandChannel& channel, const Command& command) {
  channel.Fail(command.uuid, R"({"ErrorCode":42,"ErrorDescription":"this handler refuses"})");
}

// Answers after the seconds that the payload names, whether the agent waits that long or not.
void Delay(CommandChannel& channel, const Command& command) {
  struct Work {
    std::weak_ptr<CommandChannel> channel;
    std::string uuid;
  };
  ecore_timer_add(
      std::atof(command.payload.c_str()),
      [](void* data) -> Eina_Bool {
        const std::unique_ptr<Work> work(static_cast<Work*>(data));
        if (const auto open = work->channel.lock()) {
          open->Succeed(work->uuid, R"({"text":"done slowly"})");
        }
        return ECORE_CALLBACK_CANCEL;
      },
      new Work{channel.weak_from_this(), command.uuid});
}

// Takes longer than the agent allows: asks for the seconds that the payload names, works that long
// when they are granted and gives up at once when they are not.
void Slow(CommandChannel& channel, const Command& command) {
  const double seconds = std::atof(command.payload.c_str());
  if (!channel.AskForSeconds(command.uuid, seconds * 2)) {
    channel.Fail(command.uuid, R"({"ErrorDescription":"no more time was granted"})");
    return;
  }
  Delay(channel, command);
}

void NeverAnswer(CommandChannel&, const Command&) {}

void Crash(CommandChannel&, const Command&) { kill(getpid(), SIGKILL); }

const std::map<std::string, std::function<void(CommandChannel&, const Command&)>> kFunctions = {
    {"text.echo", Echo},   {"text.upper", Upper}, {"text.reject", Reject},
    {"text.delay", Delay}, {"text.slow", Slow},   {"text.forget", NeverAnswer},
    {"text.crash", Crash},
};

void Handle(CommandChannel& channel, const Command& command) {
  const auto function = kFunctions.find(command.request_type);
  if (function != kFunctions.end()) {
    function->second(channel, command);
  } else {
    channel.Fail(command.uuid, R"({"ErrorDescription":"declared, but not implemented"})");
  }
}

// One channel for each agent that ever launched this handler.
using Channels = std::map<std::string, std::shared_ptr<CommandChannel>>;

// The agent has commands for us: connect to it, unless we are connected.
void OnLaunchRequest(app_control_h request, void* data) {
  char* caller = nullptr;
  if (app_control_get_caller(request, &caller) != APP_CONTROL_ERROR_NONE) return;
  const std::unique_ptr<char, decltype(&std::free)> owned(caller, std::free);
  auto& channel = (*static_cast<Channels*>(data))[caller];
  if (!channel || !channel->IsOpen()) channel = std::make_shared<CommandChannel>(caller, Handle);
}

}  // namespace

int main(int argc, char** argv) {
  Channels channels;
  service_app_lifecycle_callback_s callbacks = {};
  callbacks.create = [](void*) { return true; };
  callbacks.terminate = [](void* data) { static_cast<Channels*>(data)->clear(); };
  callbacks.app_control = OnLaunchRequest;
  return service_app_main(argc, argv, &callbacks, &channels);
}
