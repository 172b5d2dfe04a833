// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "driver.h"

#include <gtest/gtest-spi.h>

#include <utility>

#include "fake-platform.h"
#include "handler-package.h"
#include "qor_handler_manager.h"

namespace model {
namespace {

constexpr int kPlatformError = -1;
constexpr int kUnknownMethod = 99;

const char* FailingFunction(Failure failure) {
  switch (failure) {
    case Failure::kNone:
      break;
    case Failure::kExtraData:
      return "app_control_add_extra_data";
    case Failure::kLaunch:
      return "app_control_send_launch_request";
    case Failure::kTimer:
      return "ecore_timer_add";
  }
  return nullptr;
}

void Raise(const Operation& operation) {
  const std::string& id = operation.package.id;
  switch (operation.event) {
    case Event::kInstalled:
      return support::RaiseInstalled(id);
    case Event::kUpdated:
      return support::RaiseUpdated(id);
    case Event::kUninstalling:
      return support::RaiseUninstalling(id);
    case Event::kUninstalled:
      return fake::RaisePackageEvent("tpk", id, PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL,
                                     PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
    case Event::kForeignType:
      return fake::RaisePackageEvent("wgt", id, PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                                     PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  }
}

std::string Format(const support::Response& response) {
  return FormatResponse(response.uuid, response.status, response.result, response.result_length,
                        response.error, response.error_length);
}

}  // namespace

Driver::Driver() {
  fake::Reset();
  client_.on_response = [this](const support::Response& response) {
    observation_.callbacks.push_back(Format(response));
    React();
  };
  client_.on_negotiation = [this](const support::Negotiation& negotiation) {
    observation_.callbacks.push_back(
        FormatNegotiation(negotiation.handler_id, negotiation.uuid, negotiation.seconds));
    React();
    return negotiation_answer_;
  };
  client_.on_update = [this](const support::HandlerUpdate& update) {
    observation_.callbacks.push_back(FormatUpdate(
        update.type, FormatHandler(update.handler.app_id, update.handler.request_types)));
    React();
  };
}

Driver::~Driver() {
  qor_handler_manager_shutdown();
  // Timers whose position no longer exists are active until they fire.
  constexpr double kLongerThanAnyTimer = 1e9;
  fake::Advance(kLongerThanAnyTimer);
}

Observation Driver::Apply(const Operation& operation) {
  observation_ = Observation();
  fake::ClearLog();
  ::testing::TestPartResultArray broken_expectations;
  {
    // The support library checks the library with GoogleTest expectations.
    const ::testing::ScopedFakeTestPartResultReporter reporter(
        ::testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD,
        &broken_expectations);
    const char* failing = FailingFunction(operation.failure);
    if (failing) fake::FailAlways(failing, kPlatformError);
    Execute(operation);
    if (failing) fake::FailAlways(failing, 0);
    ObserveDeliveries();
    ObserveLaunches();
    ObservePlatform();
  }
  for (int i = 0; i < broken_expectations.size(); ++i) {
    observation_.violations.emplace_back(broken_expectations.GetTestPartResult(i).message());
  }
  return observation_;
}

void Driver::Execute(const Operation& operation) {
  switch (operation.kind) {
    case Kind::kPutPackage:
      support::InstallPackage(operation.package.id, operation.package.apps,
                              operation.package.preloaded);
      break;
    case Kind::kDropPackage:
      fake::Uninstall(operation.package.id);
      break;
    case Kind::kRaiseEvent:
      Raise(operation);
      break;
    case Kind::kConfigure:
      Configure(operation);
      break;
    case Kind::kInitialize:
      Return(qor_handler_manager_initialize(nullptr));
      break;
    case Kind::kListen:
      Listen(operation.listen);
      break;
    case Kind::kReact:
      reaction_ = operation;
      break;
    case Kind::kSend:
      Send(operation);
      break;
    case Kind::kConnect:
      Connect(operation);
      break;
    case Kind::kAdvance:
      fake::Advance(operation.seconds);
      break;
    case Kind::kShutDown:
      ShutDown();
      break;
    default:
      Call(operation);
  }
}

void Driver::Listen(model::Listen listen) {
  switch (listen) {
    case Listen::kResponses:
      client_.ListenForResponses();
      break;
    case Listen::kNegotiations:
      client_.ListenForNegotiations();
      break;
    case Listen::kUpdates:
      client_.ListenForUpdates();
      break;
  }
  started_ = true;
  Return(QOR_HANDLER_MANAGER_ERROR_NONE);
}

void Driver::Configure(const Operation& operation) {
  qor_handler_manager_configuration_h config = nullptr;
  EXPECT_EQ(qor_handler_manager_configuration_create(&config), 0);
  qor_handler_manager_configuration_set_command_execution_timeout(config,
                                                                  operation.execution_timeout);
  qor_handler_manager_configuration_set_connection_timeout(config, operation.connection_timeout);
  Return(qor_handler_manager_initialize(config));
  started_ = true;
  EXPECT_EQ(qor_handler_manager_configuration_destroy(config), 0);
}

void Driver::Send(const Operation& operation) {
  const int code =
      qor_handler_manager_send_command(operation.uuid.c_str(), operation.type.c_str(),
                                       operation.has_text ? operation.text.c_str() : nullptr,
                                       operation.length, static_cast<time_t>(operation.timestamp));
  if (code != QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER) started_ = true;
  Return(code);
}

void Driver::ShutDown() {
  Return(qor_handler_manager_shutdown());
  started_ = false;
}

void Driver::Connect(const Operation& operation) {
  connections_.remove_if(
      [](const Connection& connection) { return !fake::IsConnected(connection.peer.Instance()); });
  const std::string instance = "c" + std::to_string(++connects_);
  connections_.push_back(
      {operation.app, operation.slot, support::HandlerPeer(operation.app, instance)});
}

void Driver::Call(const Operation& operation) {
  Connection* connection = Find(operation);
  if (!connection) {
    observation_.violations.emplace_back("connection closed by the library");
    return;
  }
  support::HandlerPeer& peer = connection->peer;
  switch (operation.kind) {
    case Kind::kDisconnect:
      return peer.Disconnect();
    case Kind::kFetch:
      return Return(peer.Fetch(operation.callback, operation.once));
    case Kind::kAnswer:
      Return(peer.Answer(operation.uuid, operation.text, operation.status, operation.error));
      break;
    case Kind::kNegotiate:
      negotiation_answer_ = operation.status;
      Return(peer.Negotiate(operation.uuid, operation.seconds));
      break;
    default:
      return Return(fake::Receive(peer.Instance(), fake::ParcelWriter().Int32(kUnknownMethod)));
  }
  if (const auto reply = peer.LastReply()) observation_.reply = *reply ? "true" : "false";
}

void Driver::React() {
  const Operation reaction = std::exchange(reaction_, Operation());
  switch (reaction.reaction) {
    case Reaction::kNone:
      break;
    case Reaction::kSend:
      Send(reaction);
      break;
    case Reaction::kConfigure:
      Configure(reaction);
      break;
    case Reaction::kShutDown:
      ShutDown();
      break;
    case Reaction::kRestart:
      ShutDown();
      Listen(Listen::kResponses);
  }
}

Driver::Connection* Driver::Find(const Operation& operation) {
  for (Connection& connection : connections_) {
    if (connection.app == operation.app && connection.slot == operation.slot &&
        fake::IsConnected(connection.peer.Instance())) {
      return &connection;
    }
  }
  return nullptr;
}

}  // namespace model
