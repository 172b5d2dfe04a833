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
    channel.Fail(command.uuid, R"({"ErrorDescription":"this example has no code for it"})");
  }
}

// The connections to the agents that ever launched this handler, one each.
class Agents {
 public:
  // The agent has commands for us. Where we seem to be connected, it may have sent this before it
  // saw us, or it has started anew and the end of the old connection is still to be heard of: then
  // is the time to connect again.
  void OnLaunchRequest(const std::string& agent_id) {
    Link& link = links_[agent_id];
    if (link.channel && link.channel->IsOpen()) {
      link.wanted_again = true;
    } else {
      Connect(agent_id);
    }
  }

  void Clear() { links_.clear(); }

 private:
  struct Link {
    std::shared_ptr<CommandChannel> channel;
    bool wanted_again = false;
  };

  void Connect(const std::string& agent_id) {
    Link& link = links_[agent_id];
    link.wanted_again = false;
    link.channel = std::make_shared<CommandChannel>(agent_id, Handle,
                                                    [this, agent_id] { OnClosed(agent_id); });
  }

  void OnClosed(const std::string& agent_id) {
    if (links_[agent_id].wanted_again) Connect(agent_id);
  }

  std::map<std::string, Link> links_;
};

void OnLaunchRequest(app_control_h request, void* data) {
  char* caller = nullptr;
  if (app_control_get_caller(request, &caller) != APP_CONTROL_ERROR_NONE) return;
  const std::unique_ptr<char, decltype(&std::free)> owned(caller, std::free);
  static_cast<Agents*>(data)->OnLaunchRequest(caller);
}

}  // namespace

int main(int argc, char** argv) {
  Agents agents;
  service_app_lifecycle_callback_s callbacks = {};
  callbacks.create = [](void*) { return true; };
  callbacks.terminate = [](void* data) { static_cast<Agents*>(data)->Clear(); };
  callbacks.app_control = OnLaunchRequest;
  return service_app_main(argc, argv, &callbacks, &agents);
}
