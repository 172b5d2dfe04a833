// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "common/timeout-errors.h"
#include "handler-package.h"
#include "handler-peer.h"

namespace fault_injection {

namespace {

// Thousands of environments write files: keep them off the disk.
void KeepFilesInMemory() {
  static const bool possible = std::filesystem::is_directory("/dev/shm");
  if (possible) setenv("TMPDIR", "/dev/shm", 0);
}

// The client's callbacks are test code: SideScope excludes their allocations.
Journal& JournalOf(void* data) { return *static_cast<Journal*>(data); }

void OnResponse(const char* uuid, qor_request_status_e, const char*, int, const char* error, int,
                void* data) {
  const fake::SideScope side(fake::Side::kTest);
  const bool timeout = common::TimeoutOf(error) != common::Timeout::kNone;
  ++(timeout ? JournalOf(data).timeouts : JournalOf(data).results)[uuid];
}

int OnNegotiation(const char*, const char*, double, void* data) {
  const fake::SideScope side(fake::Side::kTest);
  ++JournalOf(data).negotiations;
  return 0;
}

void OnUpdate(qor_handler_update_type_e type, qor_handler_manager_handler_info_h info, void* data) {
  const fake::SideScope side(fake::Side::kTest);
  char* app_id = nullptr;
  EXPECT_EQ(qor_handler_manager_handler_info_appid_get(info, &app_id), 0);
  JournalOf(data).updates.push_back(std::to_string(type) + " " + app_id);
}

}  // namespace

bool Journal::operator==(const Journal& other) const {
  const auto all = [](const Journal& journal) {
    return std::tie(journal.steps, journal.sent, journal.answered, journal.results,
                    journal.timeouts, journal.updates, journal.negotiations);
  };
  return all(*this) == all(other);
}

Environment::Environment() {
  KeepFilesInMemory();
  fake::Reset();
  support::InstallHandler("h", {"type", "other type"});
  support::InstallHandler("i", {"type"}, "20");
}

void Environment::StartInjection() {
  if (on_start) on_start();
}

void Environment::Start() {
  Configure();
  CallLibrary("set_response_cb",
              [this] { return qor_handler_manager_set_response_cb(OnResponse, &journal_); });
  CallLibrary("set_negotiate_request_cb", [this] {
    return qor_handler_manager_set_negotiate_request_cb(OnNegotiation, &journal_);
  });
  CallLibrary("set_handler_update_cb",
              [this] { return qor_handler_manager_set_handler_update_cb(OnUpdate, &journal_); });
}

void Environment::Configure() {
  qor_handler_manager_configuration_h config = nullptr;
  if (CallLibrary("configuration_create",
                  [&] { return qor_handler_manager_configuration_create(&config); }) != 0) {
    EXPECT_EQ(config, nullptr);
    return;
  }
  CallLibrary("set_connection_timeout", [&] {
    return qor_handler_manager_configuration_set_connection_timeout(config, 5000);
  });
  CallLibrary("set_command_execution_timeout", [&] {
    return qor_handler_manager_configuration_set_command_execution_timeout(config, 3000);
  });
  CallLibrary("initialize", [&] { return qor_handler_manager_initialize(config); });
  CallLibrary("configuration_destroy",
              [&] { return qor_handler_manager_configuration_destroy(config); });
}

void Environment::ShutDown() {
  CallLibrary("shutdown", [] { return qor_handler_manager_shutdown(); });
}

int Environment::Send(const std::string& uuid, const std::string& request_type) {
  return SendIn("send_command", uuid, request_type);
}

int Environment::SendFirst(const std::string& uuid) {
  return SendIn("first send_command", uuid, "type");
}

int Environment::SendIn(const std::string& step, const std::string& uuid,
                        const std::string& request_type) {
  const int result = CallLibrary(step, [&] {
    return qor_handler_manager_send_command(uuid.c_str(), request_type.c_str(),
                                            "{\"what\": \"a payload of some length\"}", 3, 17);
  });
  journal_.sent[uuid].push_back(result);
  return result;
}

void Environment::Enumerate() {
  CallLibrary("foreach_handler_info", [this] {
    return qor_handler_manager_foreach_handler_info(
        [](qor_handler_manager_handler_info_h info, void* data) {
          const fake::SideScope side(fake::Side::kTest);
          auto* environment = static_cast<Environment*>(data);
          qor_handler_manager_handler_info_h clone = nullptr;
          const int result = environment->CallLibrary("handler_info_clone", [&] {
            return qor_handler_manager_handler_info_clone(info, &clone);
          });
          EXPECT_EQ(result == 0, clone != nullptr);
          if (result == 0) environment->clones_.push_back(clone);
          return true;
        },
        this);
  });
  for (const auto clone : std::exchange(clones_, {})) {
    CallLibrary("handler_info_destroy",
                [&] { return qor_handler_manager_handler_info_destroy(clone); });
  }
}

void Environment::Connect(const std::string& instance, const std::string& app_id) {
  if (!fake::IsListening() || fake::IsConnected(instance)) return;
  RunStep("connect", [&] {
    fake::Connect(app_id, instance);
    return 0;
  });
}

void Environment::Disconnect(const std::string& instance) {
  if (!fake::IsConnected(instance)) return;
  RunStep("disconnect", [&] {
    fake::Disconnect(instance);
    return 0;
  });
}

void Environment::Fetch(const std::string& instance) {
  if (!fake::IsConnected(instance)) return;
  RunStep("fetch", [&] {
    return fake::Receive(instance, fake::ParcelWriter()
                                       .Int32(support::kMethodSetCommandReceivedCb)
                                       .Int32(1)
                                       .Int32(7)
                                       .Bool(false));
  });
}

void Environment::Answer(const std::string& instance, const std::string& uuid) {
  if (!fake::IsConnected(instance) || !WasDelivered(instance, uuid)) return;
  ++journal_.answered[uuid];
  RunStep("answer", [&] {
    return fake::Receive(instance, fake::ParcelWriter()
                                       .Int32(support::kMethodSendResult)
                                       .String(uuid)
                                       .String("{\"how\": \"a result of some length\"}")
                                       .Int32(0)
                                       .String("")
                                       .Bundle({{"extra", "of the handler"}}));
  });
}

void Environment::Negotiate(const std::string& instance, const std::string& uuid, double seconds) {
  if (!fake::IsConnected(instance) || !WasDelivered(instance, uuid)) return;
  RunStep("negotiate", [&] {
    return fake::Receive(
        instance,
        fake::ParcelWriter().Int32(support::kMethodNegotiateTimeout).String(uuid).Double(seconds));
  });
}

void Environment::Advance(double seconds) {
  RunStep("timers", [&] {
    fake::Advance(seconds);
    return 0;
  });
}

void Environment::Install(const std::string& package_id) {
  support::InstallPackage(package_id, {{"one", {{"first"}}}, {"two", {{"second"}}}});
  RunStep("installed", [&] {
    support::RaiseInstalled(package_id);
    return 0;
  });
}

void Environment::Update(const std::string& package_id) {
  support::InstallPackage(package_id, {{"one", {{"first", "third"}}}});
  RunStep("updated", [&] {
    support::RaiseUpdated(package_id);
    return 0;
  });
}

void Environment::Uninstall(const std::string& package_id) {
  RunStep("uninstalling", [&] {
    support::RaiseUninstalling(package_id);
    return 0;
  });
  fake::Uninstall(package_id);
}

int Environment::RunStep(const std::string& name, const std::function<int()>& step) {
  int result = 0;
  try {
    result = step();
  } catch (const std::exception& error) {
    ADD_FAILURE() << name << " threw " << error.what();
  } catch (...) {
    ADD_FAILURE() << name << " threw an unknown exception";
  }
  journal_.steps.push_back({name, result});
  if (on_step) on_step(journal_.steps.back());
  return result;
}

int Environment::CallLibrary(const std::string& name, const std::function<int()>& function) {
  return RunStep(name, [&function] {
    const fake::SideScope side(fake::Side::kCodeUnderTest);
    return function();
  });
}

bool Environment::WasDelivered(const std::string& instance, const std::string& uuid) const {
  for (fake::ParcelReader parcel : fake::Sent(instance, RPC_PORT_PORT_CALLBACK)) {
    try {
      parcel.Int32();
      parcel.Int32();
      parcel.Int32();
      parcel.Bool();
      if (parcel.String() == uuid) return true;
    } catch (const std::out_of_range&) {
      // A truncated parcel, which a handler would ignore.
    }
  }
  return false;
}

}  // namespace fault_injection
