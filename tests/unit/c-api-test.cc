// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>
#include <bundle.h>

#include <ctime>

#include "api/handler-info.h"
#include "library-test.h"

namespace {

using support::CountLogged;
using support::EnterLine;
using support::ExitLine;
using support::HandlerPeer;
using Strings = std::vector<std::string>;

constexpr int kInvalid = -22;

class CApi : public support::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    support::InstallHandler("handler", {"type"});
  }

  static bool IsStarted() { return fake::CallCount("rpc_port_stub_create") > 0; }

  int SendRaw(const char* uuid, const char* type, const char* payload, int length,
              time_t timestamp = 1) {
    return qor_handler_manager_send_command(uuid, type, payload, length, timestamp);
  }

  // Returns the payload that a connected handler receives.
  std::string DeliveredPayload(const char* payload, int length) {
    HandlerPeer handler("handler");
    handler.Fetch();
    EXPECT_EQ(SendRaw("a", "type", payload, length), 0);
    const auto deliveries = handler.Deliveries();
    return deliveries.size() == 1 ? deliveries[0].payload : "(no single delivery)";
  }
};

void IgnoreResponse(const char*, qor_request_status_e, const char*, int, const char*, int, void*) {}
int GrantAll(const char*, const char*, double, void*) { return 0; }
void IgnoreUpdate(qor_handler_update_type_e, qor_handler_manager_handler_info_h, void*) {}
bool KeepGoing(qor_handler_manager_handler_info_h, void*) { return true; }

TEST_F(CApi, RejectsCommandWithoutUuidOrTypeBeforeStart) {
  EXPECT_EQ(SendRaw(nullptr, "type", "{}", 2), kInvalid);
  EXPECT_EQ(SendRaw("", "type", "{}", 2), kInvalid);
  EXPECT_EQ(SendRaw("a", nullptr, "{}", 2), kInvalid);
  EXPECT_EQ(SendRaw("a", "", "{}", 2), kInvalid);
  EXPECT_FALSE(IsStarted());
}

TEST_F(CApi, RejectsLengthBeyondPayload) {
  EXPECT_EQ(SendRaw("a", "type", "abc", 4), kInvalid);
  EXPECT_FALSE(IsStarted());
}

TEST_F(CApi, PassesWholePayloadForShorterLength) {
  Start();
  EXPECT_EQ(DeliveredPayload("abc", 2), "abc");
}

TEST_F(CApi, AcceptsLengthOfZeroWithPayload) {
  Start();
  EXPECT_EQ(DeliveredPayload("abc", 0), "abc");
}

TEST_F(CApi, PassesEmptyPayloadForNull) {
  Start();
  EXPECT_EQ(DeliveredPayload(nullptr, 0), "");
}

TEST_F(CApi, AcceptsNegativeLengthOnlyWithoutPayload) {
  Start();
  EXPECT_EQ(SendRaw("a", "type", "abc", -1), kInvalid);
  EXPECT_EQ(SendRaw("a", "type", "", -1), kInvalid);
  EXPECT_EQ(DeliveredPayload(nullptr, -1), "");
}

TEST_F(CApi, RejectsPositiveLengthWithoutPayload) {
  EXPECT_EQ(SendRaw("a", "type", nullptr, 1), kInvalid);
}

TEST_F(CApi, RejectsNegativeTimestamp) {
  EXPECT_EQ(SendRaw("a", "type", "{}", 2, -1), kInvalid);
  EXPECT_FALSE(IsStarted());
  EXPECT_EQ(SendRaw("a", "type", "{}", 2, 0), 0);
}

TEST_F(CApi, RejectsNullCallbacksBeforeStart) {
  EXPECT_EQ(qor_handler_manager_set_response_cb(nullptr, this), kInvalid);
  EXPECT_EQ(qor_handler_manager_set_negotiate_request_cb(nullptr, this), kInvalid);
  EXPECT_EQ(qor_handler_manager_set_handler_update_cb(nullptr, this), kInvalid);
  EXPECT_EQ(qor_handler_manager_foreach_handler_info(nullptr, this), kInvalid);
  EXPECT_FALSE(IsStarted());
}

TEST_F(CApi, AcceptsCallbacksWithoutUserData) {
  EXPECT_EQ(qor_handler_manager_set_response_cb(IgnoreResponse, nullptr), 0);
  EXPECT_EQ(qor_handler_manager_set_negotiate_request_cb(GrantAll, nullptr), 0);
  EXPECT_EQ(qor_handler_manager_set_handler_update_cb(IgnoreUpdate, nullptr), 0);
  EXPECT_EQ(qor_handler_manager_foreach_handler_info(KeepGoing, nullptr), 0);
}

TEST_F(CApi, StartsLibraryOnFirstCall) {
  EXPECT_EQ(qor_handler_manager_set_response_cb(IgnoreResponse, nullptr), 0);
  EXPECT_TRUE(fake::IsListening());
}

TEST_F(CApi, LogsEnterAndExitOfEachFunction) {
  Start();
  fake::ClearLog();
  const std::string exit = ExitLine("c-api.cc", "operator()");
  const auto expect_frame = [&exit](int line) {
    const auto texts = support::LoggedTexts(DLOG_DEBUG);
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts.front(), EnterLine("c-api.cc", "operator()", line));
    EXPECT_EQ(texts.back(), exit);
    fake::ClearLog();
  };
  SendRaw("a", "type", "{}", 2);
  expect_frame(127);
  SendRaw("a", "type", "{}", 2);  // fails after the enter line
  expect_frame(127);
  qor_handler_manager_set_response_cb(IgnoreResponse, nullptr);
  expect_frame(155);
  qor_handler_manager_set_negotiate_request_cb(GrantAll, nullptr);
  expect_frame(169);
  qor_handler_manager_foreach_handler_info(KeepGoing, nullptr);
  expect_frame(208);
  qor_handler_manager_set_handler_update_cb(IgnoreUpdate, nullptr);
  expect_frame(221);
}

TEST_F(CApi, LogsExitAfterInvalidArguments) {
  SendRaw("", "type", "{}", 2);
  EXPECT_EQ(support::LoggedTexts(DLOG_DEBUG), (Strings{EnterLine("c-api.cc", "operator()", 127),
                                                       ExitLine("c-api.cc", "operator()")}));
}

TEST_F(CApi, LogsInitializeAndShutdownWithoutEnterAndExit) {
  EXPECT_EQ(qor_handler_manager_initialize(nullptr), 0);
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
  EXPECT_EQ(
      support::LoggedTexts(DLOG_INFO),
      (Strings{support::InfoLine("c-api.cc", "operator()", 51, "qor_handler_manager_initialize"),
               support::InfoLine("c-api.cc", "operator()", 63, "qor_handler_manager_shutdown")}));
  EXPECT_EQ(fake::Log().size(), 2u);
}

TEST_F(CApi, DoesNotStartWithoutConfiguration) {
  EXPECT_EQ(qor_handler_manager_initialize(nullptr), 0);
  EXPECT_FALSE(IsStarted());
}

TEST_F(CApi, StartsWithConfiguration) {
  Start();
  EXPECT_TRUE(fake::IsListening());
}

TEST_F(CApi, AppliesNewConfigurationWhenInitializedAgain) {
  Start(1000, 2000);
  Start(3000, 4000);
  EXPECT_EQ(fake::CallCount("rpc_port_stub_create"), 1);
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 4.0);
}

TEST_F(CApi, ShutsDownWithoutStart) {
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
  EXPECT_FALSE(IsStarted());
}

TEST_F(CApi, RestartsAfterShutdown) {
  Start();
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
  EXPECT_FALSE(fake::IsListening());
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_TRUE(fake::IsListening());
}

TEST_F(CApi, ReturnsUnknownErrorForPendingUuid) {
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("a", "type"), -1073741824);
}

TEST_F(CApi, ReturnsNotSupportedCommandForUnknownType) {
  EXPECT_EQ(Send("a", "other"), -1073741826);
}

TEST_F(CApi, ReturnsFailToSendAppControlWhenLaunchFails) {
  fake::Fail("app_control_send_launch_request", APP_CONTROL_ERROR_LAUNCH_REJECTED);
  EXPECT_EQ(Send("a", "type"), -1073741825);
}

TEST_F(CApi, ReturnsOutOfMemory) {
  Start();
  fake::Fail("bundle_create", BUNDLE_ERROR_OUT_OF_MEMORY);
  EXPECT_EQ(Send("a", "type"), -12);
}

class HandlerInfo : public support::LibraryTest {
 protected:
  static Strings TypesOf(qor_handler_manager_handler_info_h info) {
    return support::Read(info).request_types;
  }
};

TEST_F(HandlerInfo, ReturnsIdAndRequestTypes) {
  qor_handler_manager_handler_info_s info("app", {"b", "a"});
  char* id = nullptr;
  EXPECT_EQ(qor_handler_manager_handler_info_appid_get(&info, &id), 0);
  EXPECT_STREQ(id, "app");
  EXPECT_EQ(TypesOf(&info), (Strings{"a", "b"}));
}

TEST_F(HandlerInfo, ReturnsPointersIntoRecord) {
  qor_handler_manager_handler_info_s info("app", {"a"});
  char* id = nullptr;
  char** types = nullptr;
  qor_handler_manager_handler_info_appid_get(&info, &id);
  qor_handler_manager_handler_info_supported_request_types_get(&info, &types);
  EXPECT_EQ(id, info.AppId());
  EXPECT_EQ(types, info.RequestTypes());
}

TEST_F(HandlerInfo, TerminatesEmptyListOfRequestTypes) {
  qor_handler_manager_handler_info_s info("app", {});
  char** types = nullptr;
  ASSERT_EQ(qor_handler_manager_handler_info_supported_request_types_get(&info, &types), 0);
  EXPECT_EQ(types[0], nullptr);
}

TEST_F(HandlerInfo, ClonesAreIndependent) {
  qor_handler_manager_handler_info_s info("app", {"a", "b"});
  qor_handler_manager_handler_info_h clone = nullptr;
  ASSERT_EQ(qor_handler_manager_handler_info_clone(&info, &clone), 0);
  ASSERT_NE(clone, &info);
  char** types = nullptr;
  qor_handler_manager_handler_info_supported_request_types_get(clone, &types);
  EXPECT_STREQ(types[0], "a");
  EXPECT_STREQ(types[1], "b");
  EXPECT_EQ(types[2], nullptr);
  EXPECT_NE(types[0], info.RequestTypes()[0]);
  EXPECT_EQ(qor_handler_manager_handler_info_destroy(clone), 0);
  EXPECT_EQ(TypesOf(&info), (Strings{"a", "b"}));
}

TEST_F(HandlerInfo, ClonesRecordWithoutRequestTypes) {
  qor_handler_manager_handler_info_s info("app", {});
  qor_handler_manager_handler_info_h clone = nullptr;
  ASSERT_EQ(qor_handler_manager_handler_info_clone(&info, &clone), 0);
  EXPECT_EQ(TypesOf(clone), Strings{});
  EXPECT_EQ(qor_handler_manager_handler_info_destroy(clone), 0);
}

TEST_F(HandlerInfo, RejectsNullAndLeavesOutputsUnchanged) {
  qor_handler_manager_handler_info_s info("app", {"a"});
  qor_handler_manager_handler_info_h clone = &info;
  char unchanged = 'x';
  char* id = &unchanged;
  char** types = &id;
  EXPECT_EQ(qor_handler_manager_handler_info_clone(nullptr, &clone), kInvalid);
  EXPECT_EQ(qor_handler_manager_handler_info_clone(&info, nullptr), kInvalid);
  EXPECT_EQ(qor_handler_manager_handler_info_destroy(nullptr), kInvalid);
  EXPECT_EQ(qor_handler_manager_handler_info_appid_get(nullptr, &id), kInvalid);
  EXPECT_EQ(qor_handler_manager_handler_info_appid_get(&info, nullptr), kInvalid);
  EXPECT_EQ(qor_handler_manager_handler_info_supported_request_types_get(nullptr, &types),
            kInvalid);
  EXPECT_EQ(qor_handler_manager_handler_info_supported_request_types_get(&info, nullptr), kInvalid);
  EXPECT_EQ(clone, &info);
  EXPECT_EQ(id, &unchanged);
  EXPECT_EQ(types, &id);
}

TEST_F(HandlerInfo, LogsNothing) {
  qor_handler_manager_handler_info_s info("app", {"a"});
  qor_handler_manager_handler_info_h clone = nullptr;
  qor_handler_manager_handler_info_clone(&info, &clone);
  support::Read(clone);
  qor_handler_manager_handler_info_destroy(clone);
  qor_handler_manager_handler_info_destroy(nullptr);
  EXPECT_TRUE(fake::Log().empty());
  EXPECT_EQ(fake::CallCount("rpc_port_stub_create"), 0);
}

TEST_F(HandlerInfo, CanBeClonedInUpdateCallback) {
  Start();
  qor_handler_manager_handler_info_h kept = nullptr;
  qor_handler_manager_set_handler_update_cb(
      [](qor_handler_update_type_e, qor_handler_manager_handler_info_h info, void* data) {
        qor_handler_manager_handler_info_clone(
            info, static_cast<qor_handler_manager_handler_info_h*>(data));
      },
      &kept);
  support::InstallHandler("handler", {"a", "b"});
  support::RaiseInstalled(support::PackageOf("handler"));
  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(support::Read(kept), (support::HandlerInfo{"handler", {"a", "b"}}));
  EXPECT_EQ(qor_handler_manager_handler_info_destroy(kept), 0);
}

}  // namespace
