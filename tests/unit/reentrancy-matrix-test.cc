// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <functional>
#include <stdexcept>
#include <tuple>

#include "one-handler-test.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;

constexpr int kParameter = QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER;

// An action of the client inside a callback.
struct Action {
  const char* name;
  std::function<void(support::Client&)> run;
};

// Prints the parameter in failure messages.
void PrintTo(const Action& action, std::ostream* out) { *out << action.name; }

qor_handler_manager_configuration_h NewConfiguration() {
  qor_handler_manager_configuration_h config = nullptr;
  EXPECT_EQ(qor_handler_manager_configuration_create(&config), 0);
  return config;
}

bool CloneAndDestroy(qor_handler_manager_handler_info_h info, void*) {
  qor_handler_manager_handler_info_h clone = nullptr;
  EXPECT_EQ(qor_handler_manager_handler_info_clone(info, &clone), 0);
  EXPECT_FALSE(support::Read(clone).app_id.empty());
  EXPECT_EQ(qor_handler_manager_handler_info_destroy(clone), 0);
  return true;
}

int Send(const char* uuid, const char* request_type) {
  return qor_handler_manager_send_command(uuid, request_type, nullptr, 0, 0);
}

void ShutDown(support::Client&) { EXPECT_EQ(qor_handler_manager_shutdown(), 0); }

const std::vector<Action> kActions = {
    {"Initialize",
     [](support::Client&) {
       const auto config = NewConfiguration();
       EXPECT_EQ(qor_handler_manager_configuration_set_connection_timeout(config, 5000), 0);
       EXPECT_EQ(qor_handler_manager_configuration_set_command_execution_timeout(config, 3000), 0);
       EXPECT_EQ(qor_handler_manager_initialize(config), 0);
       EXPECT_EQ(qor_handler_manager_configuration_destroy(config), 0);
     }},
    {"InitializeWithoutConfiguration",
     [](support::Client&) { EXPECT_EQ(qor_handler_manager_initialize(nullptr), 0); }},
    {"ConfigureNull",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_configuration_create(nullptr), kParameter);
       EXPECT_EQ(qor_handler_manager_configuration_set_connection_timeout(nullptr, 1), kParameter);
       EXPECT_EQ(qor_handler_manager_configuration_set_command_execution_timeout(nullptr, 1),
                 kParameter);
       EXPECT_EQ(qor_handler_manager_configuration_destroy(nullptr), kParameter);
     }},
    {"ShutDown", ShutDown},
    {"ShutDownTwice",
     [](support::Client& client) {
       ShutDown(client);
       ShutDown(client);
     }},
    {"ShutDownAndStart",
     [](support::Client& client) {
       ShutDown(client);
       client.ListenForResponses();
       EXPECT_EQ(Send("of the new graph", "type"), 0);
     }},
    {"ShutDownAndStartTwice",
     [](support::Client& client) {
       for (int i = 0; i < 2; ++i) {
         ShutDown(client);
         client.ListenForUpdates();
         EXPECT_EQ(Send("of the new graph", "type"), 0);
       }
     }},
    {"SendNewCommand", [](support::Client&) { EXPECT_EQ(Send("new", "type"), 0); }},
    {"SendManyCommands",
     [](support::Client&) {
       for (int i = 0; i < 9; ++i) EXPECT_EQ(Send(std::to_string(i).c_str(), "type"), 0);
     }},
    {"SendSameCommand",
     [](support::Client&) {
       // Pending or not, depending on the callback.
       EXPECT_THAT(Send("a", "type"), ::testing::AnyOf(0, QOR_HANDLER_MANAGER_ERROR_UNKNOWN));
     }},
    {"SendUnknownType",
     [](support::Client&) {
       EXPECT_EQ(Send("new", "no type"), QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
     }},
    {"SendNull", [](support::Client&) { EXPECT_EQ(Send(nullptr, nullptr), kParameter); }},
    {"SetResponseCallback", [](support::Client& client) { client.ListenForResponses(); }},
    {"SetNegotiationCallback", [](support::Client& client) { client.ListenForNegotiations(); }},
    {"SetUpdateCallback", [](support::Client& client) { client.ListenForUpdates(); }},
    {"SetNullCallback",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_set_response_cb(nullptr, nullptr), kParameter);
       EXPECT_EQ(qor_handler_manager_set_negotiate_request_cb(nullptr, nullptr), kParameter);
       EXPECT_EQ(qor_handler_manager_set_handler_update_cb(nullptr, nullptr), kParameter);
     }},
    {"Enumerate", [](support::Client&) { support::Client::Handlers(); }},
    {"EnumerateWithNullCallback",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_foreach_handler_info(nullptr, nullptr), kParameter);
     }},
    {"CloneAndDestroy",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_foreach_handler_info(CloneAndDestroy, nullptr), 0);
     }},
    {"ReadNull",
     [](support::Client&) {
       qor_handler_manager_handler_info_h clone = nullptr;
       char* text = nullptr;
       char** texts = nullptr;
       EXPECT_EQ(qor_handler_manager_handler_info_clone(nullptr, &clone), kParameter);
       EXPECT_EQ(qor_handler_manager_handler_info_destroy(nullptr), kParameter);
       EXPECT_EQ(qor_handler_manager_handler_info_appid_get(nullptr, &text), kParameter);
       EXPECT_EQ(qor_handler_manager_handler_info_supported_request_types_get(nullptr, &texts),
                 kParameter);
     }},
    {"ThrowException", [](support::Client&) { throw std::runtime_error("test error"); }},
    {"ThrowInt", [](support::Client&) { throw 7; }},
};

// Triggers one callback. Commands with the uuids "a" and "b" are pending where possible.
struct Trigger {
  const char* name;
  void (*run)();
};

void PrintTo(const Trigger& trigger, std::ostream* out) { *out << trigger.name; }

HandlerPeer Fetched() {
  HandlerPeer handler("h");
  EXPECT_EQ(handler.Fetch(), 0);
  return handler;
}

void SendTwo() {
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("b", "type"), 0);
}

bool ActDuringEnumeration(qor_handler_manager_handler_info_h info, void* data);

const std::vector<Trigger> kTriggers = {
    {"OnResult",
     [] {
       HandlerPeer handler = Fetched();
       SendTwo();
       handler.Answer("a");
     }},
    {"OnExecutionTimeout",
     [] {
       Fetched();
       SendTwo();
       fake::Advance(3);
     }},
    {"OnConnectionTimeout",
     [] {
       SendTwo();
       fake::Advance(5);
     }},
    {"OnNegotiation",
     [] {
       HandlerPeer handler = Fetched();
       SendTwo();
       handler.Negotiate("a", 10.0);
     }},
    {"OnInstallation",
     [] {
       SendTwo();
       InstallHandler("other", {"other"});
       support::RaiseInstalled(support::PackageOf("other"));
     }},
    {"OnUpdate",
     [] {
       SendTwo();
       support::RaiseUpdated(support::PackageOf("h"));
     }},
    {"OnRemoval",
     [] {
       InstallHandler("other", {"other"});
       SendTwo();
       support::RaiseUninstalling(support::PackageOf("other"));
     }},
    {"DuringEnumeration", nullptr},
};

class ReentrancyMatrix : public support::OneHandlerTest,
                         public ::testing::WithParamInterface<std::tuple<Trigger, Action>> {
 public:
  void Act() {
    if (acted_) return;
    acted_ = true;
    std::get<Action>(GetParam()).run(client_);
  }

 protected:
  void SetUp() override {
    OneHandlerTest::SetUp();
    client_.on_response = [this](const support::Response&) { Act(); };
    client_.on_negotiation = [this](const support::Negotiation&) {
      Act();
      return 0;
    };
    client_.on_update = [this](const support::HandlerUpdate&) { Act(); };
  }

  // Expects that a command is delivered and answered once, whatever the client did.
  void ExpectWorking() {
    client_ = {};
    client_.ListenForResponses();
    ASSERT_EQ(Send("check", "type"), 0);
    HandlerPeer handler("h", "check instance");
    EXPECT_EQ(handler.Fetch(), 0);
    EXPECT_EQ(handler.Answer("check"), 0);
    EXPECT_THAT(client_.AnsweredUuids(), ::testing::Contains("check").Times(1));
    EXPECT_EQ(fake::OpenHandles("stub"), 1);
    EXPECT_EQ(fake::OpenHandles("parcel"), 0);
    EXPECT_EQ(fake::OpenHandles("package manager"), 1);
  }

 private:
  bool acted_ = false;

 protected:
  bool HasActed() const { return acted_; }
};

bool ActDuringEnumeration(qor_handler_manager_handler_info_h, void* data) {
  static_cast<ReentrancyMatrix*>(data)->Act();
  return true;
}

INSTANTIATE_TEST_SUITE_P(Each, ReentrancyMatrix,
                         ::testing::Combine(::testing::ValuesIn(kTriggers),
                                            ::testing::ValuesIn(kActions)),
                         [](const auto& param_info) {
                           return std::string(std::get<Action>(param_info.param).name) +
                                  std::get<Trigger>(param_info.param).name;
                         });

TEST_P(ReentrancyMatrix, KeepsLibraryWorking) {
  const Trigger& trigger = std::get<Trigger>(GetParam());
  if (trigger.run != nullptr) {
    EXPECT_NO_THROW(trigger.run());
  } else {
    EXPECT_NO_THROW(qor_handler_manager_foreach_handler_info(ActDuringEnumeration, this));
  }
  EXPECT_TRUE(HasActed());
  ExpectWorking();
}

}  // namespace
