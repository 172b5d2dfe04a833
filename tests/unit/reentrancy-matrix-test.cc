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

// What a client does inside a callback.
struct Deed {
  const char* name;
  std::function<void(support::Client&)> run;
};

// Names the parameter in a failure.
void PrintTo(const Deed& deed, std::ostream* out) { *out << deed.name; }

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

const std::vector<Deed> kDeeds = {
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
    {"ConfigureNothing",
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
    {"SendANewCommand", [](support::Client&) { EXPECT_EQ(Send("new", "type"), 0); }},
    {"SendManyCommands",
     [](support::Client&) {
       for (int i = 0; i < 9; ++i) EXPECT_EQ(Send(std::to_string(i).c_str(), "type"), 0);
     }},
    {"SendTheSameCommand",
     [](support::Client&) {
       // Pending or not, depending on the callback.
       EXPECT_THAT(Send("a", "type"), ::testing::AnyOf(0, QOR_HANDLER_MANAGER_ERROR_UNKNOWN));
     }},
    {"SendWhatNobodyServes",
     [](support::Client&) {
       EXPECT_EQ(Send("new", "no type"), QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
     }},
    {"SendNothing", [](support::Client&) { EXPECT_EQ(Send(nullptr, nullptr), kParameter); }},
    {"SetAResponseCallback", [](support::Client& client) { client.ListenForResponses(); }},
    {"SetANegotiationCallback", [](support::Client& client) { client.ListenForNegotiations(); }},
    {"SetAnUpdateCallback", [](support::Client& client) { client.ListenForUpdates(); }},
    {"SetNoCallback",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_set_response_cb(nullptr, nullptr), kParameter);
       EXPECT_EQ(qor_handler_manager_set_negotiate_request_cb(nullptr, nullptr), kParameter);
       EXPECT_EQ(qor_handler_manager_set_handler_update_cb(nullptr, nullptr), kParameter);
     }},
    {"Enumerate", [](support::Client&) { support::Client::Handlers(); }},
    {"EnumerateToNobody",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_foreach_handler_info(nullptr, nullptr), kParameter);
     }},
    {"CloneAndDestroy",
     [](support::Client&) {
       EXPECT_EQ(qor_handler_manager_foreach_handler_info(CloneAndDestroy, nullptr), 0);
     }},
    {"ReadNothing",
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
    {"ThrowAnException", [](support::Client&) { throw std::runtime_error("refused"); }},
    {"ThrowANumber", [](support::Client&) { throw 7; }},
};

// Brings about one callback, with commands of the uuids "a" and "b" before it where there are any.
struct Occasion {
  const char* name;
  void (*bring_about)();
};

void PrintTo(const Occasion& occasion, std::ostream* out) { *out << occasion.name; }

HandlerPeer Fetched() {
  HandlerPeer handler("h");
  EXPECT_EQ(handler.Fetch(), 0);
  return handler;
}

void SendTwo() {
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("b", "type"), 0);
}

bool ActDuringAnEnumeration(qor_handler_manager_handler_info_h info, void* data);

const std::vector<Occasion> kOccasions = {
    {"OnAResult",
     [] {
       HandlerPeer handler = Fetched();
       SendTwo();
       handler.Answer("a");
     }},
    {"OnAnExecutionTimeout",
     [] {
       Fetched();
       SendTwo();
       fake::Advance(3);
     }},
    {"OnAConnectionTimeout",
     [] {
       SendTwo();
       fake::Advance(5);
     }},
    {"OnANegotiation",
     [] {
       HandlerPeer handler = Fetched();
       SendTwo();
       handler.Negotiate("a", 10.0);
     }},
    {"OnAnInstallation",
     [] {
       SendTwo();
       InstallHandler("other", {"other"});
       support::RaiseInstalled(support::PackageOf("other"));
     }},
    {"OnAnUpdate",
     [] {
       SendTwo();
       support::RaiseUpdated(support::PackageOf("h"));
     }},
    {"OnARemoval",
     [] {
       InstallHandler("other", {"other"});
       SendTwo();
       support::RaiseUninstalling(support::PackageOf("other"));
     }},
    {"DuringAnEnumeration", nullptr},
};

class ReentrancyMatrix : public support::OneHandlerTest,
                         public ::testing::WithParamInterface<std::tuple<Occasion, Deed>> {
 public:
  void Act() {
    if (acted_) return;
    acted_ = true;
    std::get<Deed>(GetParam()).run(client_);
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

  // Whatever the client did, a command finds its way and comes back once.
  void ExpectSound() {
    client_ = {};
    client_.ListenForResponses();
    ASSERT_EQ(Send("sound", "type"), 0);
    HandlerPeer handler("h", "sound instance");
    EXPECT_EQ(handler.Fetch(), 0);
    EXPECT_EQ(handler.Answer("sound"), 0);
    EXPECT_THAT(client_.AnsweredUuids(), ::testing::Contains("sound").Times(1));
    EXPECT_EQ(fake::Held("stub"), 1);
    EXPECT_EQ(fake::Held("parcel"), 0);
    EXPECT_EQ(fake::Held("package manager"), 1);
  }

 private:
  bool acted_ = false;

 protected:
  bool HasActed() const { return acted_; }
};

bool ActDuringAnEnumeration(qor_handler_manager_handler_info_h, void* data) {
  static_cast<ReentrancyMatrix*>(data)->Act();
  return true;
}

INSTANTIATE_TEST_SUITE_P(Each, ReentrancyMatrix,
                         ::testing::Combine(::testing::ValuesIn(kOccasions),
                                            ::testing::ValuesIn(kDeeds)),
                         [](const auto& param_info) {
                           return std::string(std::get<Deed>(param_info.param).name) +
                                  std::get<Occasion>(param_info.param).name;
                         });

TEST_P(ReentrancyMatrix, LeavesTheLibrarySound) {
  const Occasion& occasion = std::get<Occasion>(GetParam());
  if (occasion.bring_about != nullptr) {
    EXPECT_NO_THROW(occasion.bring_about());
  } else {
    EXPECT_NO_THROW(qor_handler_manager_foreach_handler_info(ActDuringAnEnumeration, this));
  }
  EXPECT_TRUE(HasActed());
  ExpectSound();
}

}  // namespace
