// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_common.h>
#include <app_control.h>
#include <qor/handler.h>
#include <service_app.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include "log.h"
#include "main-loop.h"
#include "session.h"

namespace qor {

using internal::AgentLink;
using internal::kLogTag;
using internal::MainLoop;
using internal::Session;

namespace {

constexpr char kAnswersFile[] = ".qor-answers.db";

// The extra datum of an agent's launch request.
constexpr char kNotify[] = "Notify";
constexpr char kFetchCommand[] = "FetchCommand";

std::string TakeString(char* text) {
  const std::unique_ptr<char, decltype(&std::free)> owned(text, std::free);
  return text != nullptr ? text : "";
}

// In the application's data folder; empty without one.
std::string AnswersPath() {
  const std::string folder = TakeString(app_get_data_path());
  if (!folder.empty()) return folder + kAnswersFile;
  dlog_print(DLOG_WARN, kLogTag, "no data folder, keeping answers in memory: %s",
             get_error_message(get_last_result()));
  return {};
}

bool IsFetchRequest(app_control_h request) {
  char* value = nullptr;
  return app_control_get_extra_data(request, kNotify, &value) == APP_CONTROL_ERROR_NONE &&
         TakeString(value) == kFetchCommand;
}

}  // namespace

struct Handler::Settings {
  internal::Dispatcher::RequestTypes types;
  std::string agent;
  AnswerLimits limits;
  // Set only while the application runs.
  std::optional<Session> session;

  void Start() {
    MainLoop::Get().Open();
    session.emplace(types, limits.count != 0 ? AnswersPath() : "", limits,
                    [] { return static_cast<std::int64_t>(std::time(nullptr)); });
    if (!agent.empty()) session->OnFetchRequested(agent, AgentLink::Lifetime::kPersistent);
  }

  void OnLaunchRequest(app_control_h request) {
    if (!IsFetchRequest(request)) {
      dlog_print(DLOG_INFO, kLogTag, "ignoring a launch request other than FetchCommand");
      return;
    }
    char* caller = nullptr;
    const int error = app_control_get_caller(request, &caller);
    if (error == APP_CONTROL_ERROR_NONE) {
      session->OnFetchRequested(TakeString(caller), AgentLink::Lifetime::kOnDemand);
    } else if (!agent.empty()) {
      session->OnFetchRequested(agent, AgentLink::Lifetime::kPersistent);
    } else {
      dlog_print(DLOG_WARN, kLogTag, "ignoring a launch request from an unknown caller: %s",
                 get_error_message(error));
    }
  }

  void Stop() {
    MainLoop::Get().Close();
    session.reset();
  }
};

Handler::Handler() : settings_(std::make_unique<Settings>()) {}
Handler::~Handler() = default;

Handler& Handler::On(const std::string& request_type, Function function) {
  return On(request_type, std::move(function), Policy::kAtLeastOnce);
}

Handler& Handler::On(const std::string& request_type, Function function, Policy policy) {
  auto& type = settings_->types[request_type];
  type.run = std::move(function);
  type.policy = policy;
  return *this;
}

Handler& Handler::OnResume(const std::string& request_type, Function function) {
  settings_->types[request_type].resume = std::move(function);
  return *this;
}

Handler& Handler::SetAgent(const std::string& app_id) {
  settings_->agent = app_id;
  return *this;
}

Handler& Handler::KeepAnswers(const AnswerLimits& limits) {
  settings_->limits = limits;
  return *this;
}

int Handler::Run(int argc, char** argv) {
  // Exceptions must not pass through the platform's C code.
  service_app_lifecycle_callback_s callbacks = {};
  callbacks.create = [](void* data) {
    try {
      static_cast<Settings*>(data)->Start();
      return true;
    } catch (const std::exception& error) {
      dlog_print(DLOG_ERROR, kLogTag, "cannot start the handler: %s", error.what());
      MainLoop::Get().Close();
      return false;
    }
  };
  callbacks.app_control = [](app_control_h request, void* data) {
    try {
      static_cast<Settings*>(data)->OnLaunchRequest(request);
    } catch (const std::exception& error) {
      dlog_print(DLOG_ERROR, kLogTag, "cannot handle a launch request: %s", error.what());
    }
  };
  callbacks.terminate = [](void* data) { static_cast<Settings*>(data)->Stop(); };
  const int result = service_app_main(argc, argv, &callbacks, settings_.get());
  if (result != APP_ERROR_NONE) {
    dlog_print(DLOG_ERROR, kLogTag, "cannot run the handler: %s", get_error_message(result));
  }
  return result;
}

}  // namespace qor
