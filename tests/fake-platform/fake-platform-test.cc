// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "fake-platform.h"

#include <app_common.h>
#include <app_control.h>
#include <dlog.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rpc-port-parcel.h>
#include <time.h>
#include <tizen.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;
using Texts = std::vector<std::string>;

// The control interface of the fake. Its platform functions are tested by the conformance tests.
class FakePlatformTest : public ::testing::Test {
 protected:
  void SetUp() override { fake::Reset(); }
};

TEST_F(FakePlatformTest, FailsNthCall) {
  app_control_h control = nullptr;
  fake::Fail("app_control_create", -12, 2);
  EXPECT_EQ(app_control_create(&control), 0);
  EXPECT_EQ(app_control_create(&control), -12);
  EXPECT_EQ(app_control_create(&control), 0);
}

TEST_F(FakePlatformTest, FailsEveryCallUntilReset) {
  app_control_h control = nullptr;
  fake::FailAlways("app_control_create", -12);
  EXPECT_EQ(app_control_create(&control), -12);
  EXPECT_EQ(app_control_create(&control), -12);
  fake::FailAlways("app_control_create", 0);
  EXPECT_EQ(app_control_create(&control), 0);
}

TEST_F(FakePlatformTest, FailsFunctionsThatReturnPointers) {
  fake::Fail("bundle_create", -12);
  fake::Fail("app_get_data_path", -13);
  fake::Fail("ecore_timer_add", -12);
  EXPECT_EQ(bundle_create(), nullptr);
  EXPECT_EQ(get_last_result(), -12);
  EXPECT_EQ(app_get_data_path(), nullptr);
  EXPECT_EQ(get_last_result(), -13);
  EXPECT_EQ(ecore_timer_add(
                1, [](void*) { return EINA_FALSE; }, nullptr),
            nullptr);
}

TEST_F(FakePlatformTest, ReleasesHandleWhenReleaseFails) {
  bundle* held = bundle_create();
  fake::Fail("bundle_free", -22);
  EXPECT_EQ(bundle_free(held), -22);
  EXPECT_EQ(fake::OpenHandles(), "");
}

TEST_F(FakePlatformTest, ReportsCurrentSide) {
  static fake::Side in_callback;
  in_callback = fake::Side::kTest;
  ecore_timer_add(
      1,
      [](void*) -> Eina_Bool {
        in_callback = fake::CurrentSide();
        return EINA_FALSE;
      },
      nullptr);
  fake::Advance(1);
  EXPECT_EQ(in_callback, fake::Side::kCodeUnderTest);
  EXPECT_EQ(fake::CurrentSide(), fake::Side::kTest);
  const fake::SideScope scope(fake::Side::kCodeUnderTest);
  EXPECT_EQ(fake::CurrentSide(), fake::Side::kCodeUnderTest);
}

TEST_F(FakePlatformTest, CountsInitializationsOfMainLoop) {
  EXPECT_EQ(fake::LoopUsers(), 1);
  EXPECT_EQ(ecore_init(), 2);
  EXPECT_EQ(fake::LoopUsers(), 2);
  EXPECT_EQ(ecore_shutdown(), 1);
  EXPECT_EQ(ecore_shutdown(), 0);
  EXPECT_EQ(fake::LoopUsers(), 0);
  EXPECT_EQ(fake::UsageErrors(), std::vector<std::string>{});
  EXPECT_EQ(ecore_shutdown(), 0);
  EXPECT_EQ(fake::UsageErrors().size(), 1u);
}

TEST_F(FakePlatformTest, DeletesTimersWhenMainLoopShutsDown) {
  Ecore_Timer* timer = ecore_timer_add(
      1, [](void*) -> Eina_Bool { return EINA_TRUE; }, nullptr);
  ecore_shutdown();
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(fake::UsageErrors(), std::vector<std::string>{});
  ecore_timer_del(timer);
  EXPECT_EQ(fake::UsageErrors().size(), 1u);
}

TEST_F(FakePlatformTest, RecordsCalls) {
  app_control_h control = nullptr;
  app_control_create(&control);
  app_control_set_app_id(control, "app");
  const auto calls = fake::Calls();
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[1].function, "app_control_set_app_id");
  EXPECT_EQ(calls[1].detail, "app");
  EXPECT_EQ(fake::CallCount("app_control_create"), 1);
  EXPECT_EQ(fake::CallCount("app_control_destroy"), 0);
}

TEST_F(FakePlatformTest, CountsOpenHandles) {
  bundle* first = bundle_create();
  bundle* second = bundle_create();
  Ecore_Timer* timer = ecore_timer_add(
      1, [](void*) { return EINA_FALSE; }, nullptr);
  EXPECT_EQ(fake::OpenHandles(), "2 bundles, 1 timer");
  EXPECT_EQ(fake::OpenHandles("bundle"), 2);
  EXPECT_THROW(fake::OpenHandles("nonsense"), std::logic_error);
  bundle_free(first);
  bundle_free(second);
  ecore_timer_del(timer);
  EXPECT_EQ(fake::OpenHandles(), "");
}

TEST_F(FakePlatformTest, ReportsUseAfterRelease) {
  bundle* freed = bundle_create();
  bundle_free(freed);
  Ecore_Timer* deleted = ecore_timer_add(
      1, [](void*) { return EINA_FALSE; }, nullptr);
  ecore_timer_del(deleted);
  EXPECT_THAT(fake::UsageErrors(), IsEmpty());
  EXPECT_EQ(bundle_free(freed), -22);
  ecore_timer_interval_set(deleted, 1);
  EXPECT_THAT(fake::UsageErrors(), ElementsAre("bundle_free: unknown bundle",
                                               "ecore_timer_interval_set: unknown timer"));
}

TEST_F(FakePlatformTest, ReportsUseOfFiredTimer) {
  Ecore_Timer* timer = ecore_timer_add(
      1, [](void*) { return EINA_FALSE; }, nullptr);
  fake::Advance(1);
  ecore_timer_del(timer);
  EXPECT_THAT(fake::UsageErrors(), ElementsAre("ecore_timer_del: unknown timer"));
}

TEST_F(FakePlatformTest, NeverReusesHandles) {
  bundle* first = bundle_create();
  bundle_free(first);
  EXPECT_NE(bundle_create(), first);
}

TEST_F(FakePlatformTest, AllowsReleaseOfHandlesFromBeforeReset) {
  bundle* old = bundle_create();
  fake::Reset();
  EXPECT_EQ(bundle_free(old), -22);
  EXPECT_THAT(fake::UsageErrors(), IsEmpty());
}

TEST_F(FakePlatformTest, FiresEachTimerAtItsDueTime) {
  static std::vector<double> fired;
  fired.clear();
  ecore_timer_add(
      2,
      [](void*) -> Eina_Bool {
        fired.push_back(fake::Now());
        return EINA_TRUE;
      },
      nullptr);
  fake::Advance(5);
  EXPECT_THAT(fired, ElementsAre(2.0, 4.0));
  EXPECT_EQ(fake::Now(), 5.0);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_EQ(fake::Timers()[0].due, 6.0);
}

TEST_F(FakePlatformTest, FiresTimerWithoutIntervalOncePerAdvance) {
  static int fired;
  fired = 0;
  ecore_timer_add(
      0,
      [](void*) -> Eina_Bool {
        ++fired;
        return EINA_TRUE;
      },
      nullptr);
  fake::Advance(1);
  EXPECT_EQ(fired, 1);
  fake::Advance(1);
  EXPECT_EQ(fired, 2);
}

TEST_F(FakePlatformTest, RecordsLogLines) {
  EXPECT_EQ(dlog_print(DLOG_WARN, "TAG", "number %d", 7), 8);
  ASSERT_EQ(fake::Log().size(), 1u);
  EXPECT_EQ(fake::Log()[0].priority, DLOG_WARN);
  EXPECT_EQ(fake::Log()[0].tag, "TAG");
  EXPECT_EQ(fake::Log()[0].text, "number 7");
}

TEST_F(FakePlatformTest, DropsLogLineWhenLogFails) {
  fake::Fail("dlog_print", -1);
  EXPECT_EQ(dlog_print(DLOG_WARN, "TAG", "%s", "lost"), -1);
  EXPECT_EQ(dlog_print(DLOG_WARN, "TAG", "%s", "kept"), 4);
  EXPECT_EQ(fake::Log().size(), 1u);
}

TEST_F(FakePlatformTest, OverwritesErrorMessageOnNextCall) {
  const char* kept = get_error_message(-5);
  const std::string text = kept;
  EXPECT_EQ(get_error_message(-5), text);
  EXPECT_NE(kept, text);
}

TEST_F(FakePlatformTest, FillsOutputWithGarbageWhenReadFails) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_header_h header = nullptr;
  rpc_port_parcel_create(&parcel);
  rpc_port_parcel_get_header(parcel, &header);
  char byte = 0;
  short int16 = 0;
  int int32 = 0;
  long long int64 = 0;
  float single = 0;
  double real = 0;
  bool flag = false;
  int count = 0;
  unsigned char bytes[2] = {};
  int sequence_number = 0;
  struct timespec time = {};
  fake::Fail("rpc_port_parcel_header_get_seq_num", -22);
  fake::Fail("rpc_port_parcel_header_get_timestamp", -22);
  EXPECT_NE(rpc_port_parcel_read_byte(parcel, &byte), 0);
  EXPECT_NE(rpc_port_parcel_read_int16(parcel, &int16), 0);
  EXPECT_NE(rpc_port_parcel_read_int32(parcel, &int32), 0);
  EXPECT_NE(rpc_port_parcel_read_int64(parcel, &int64), 0);
  EXPECT_NE(rpc_port_parcel_read_float(parcel, &single), 0);
  EXPECT_NE(rpc_port_parcel_read_double(parcel, &real), 0);
  EXPECT_NE(rpc_port_parcel_read_bool(parcel, &flag), 0);
  EXPECT_NE(rpc_port_parcel_read_array_count(parcel, &count), 0);
  EXPECT_NE(rpc_port_parcel_burst_read(parcel, bytes, sizeof(bytes)), 0);
  EXPECT_NE(rpc_port_parcel_header_get_seq_num(header, &sequence_number), 0);
  EXPECT_NE(rpc_port_parcel_header_get_timestamp(header, &time), 0);
  EXPECT_NE(byte, 0);
  EXPECT_NE(int16, 0);
  EXPECT_NE(int32, 0);
  EXPECT_NE(int64, 0);
  EXPECT_NE(single, 0.0F);
  EXPECT_NE(real, 0.0);
  EXPECT_TRUE(flag);
  EXPECT_NE(count, 0);
  EXPECT_THAT(bytes, Each(Ne(0)));
  EXPECT_NE(sequence_number, 0);
  EXPECT_NE(time.tv_sec, 0);
  EXPECT_NE(time.tv_nsec, 0);
}

TEST_F(FakePlatformTest, FillsOutputWithGarbageForEveryError) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create(&parcel);
  rpc_port_parcel_write_int32(parcel, 7);
  int scripted = 0;
  int without_parcel = 0;
  long long too_long = 0;
  fake::Fail("rpc_port_parcel_read_int32", -22);
  EXPECT_EQ(rpc_port_parcel_read_int32(parcel, &scripted), -22);
  EXPECT_EQ(rpc_port_parcel_read_int32(nullptr, &without_parcel), -22);
  EXPECT_EQ(rpc_port_parcel_read_int64(parcel, &too_long), -22);
  EXPECT_NE(scripted, 0);
  EXPECT_NE(without_parcel, 0);
  EXPECT_NE(too_long, 0);
}

TEST_F(FakePlatformTest, RemovesDataFolderOnReset) {
  char* path = app_get_data_path();
  const std::string folder = path;
  std::free(path);
  EXPECT_EQ(folder.back(), '/');
  EXPECT_TRUE(std::filesystem::is_directory(folder));
  fake::Reset();
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(FakePlatformTest, RecordsLaunches) {
  fake::Install({"pkg", "/opt/pkg", false, {{"app", {}}}, {}});
  app_control_h control = nullptr;
  app_control_create(&control);
  app_control_set_app_id(control, "app");
  app_control_add_extra_data(control, "key", "value");
  EXPECT_EQ(app_control_send_launch_request(control, nullptr, nullptr), 0);
  ASSERT_EQ(fake::Launches().size(), 1u);
  EXPECT_EQ(fake::Launches()[0].app_id, "app");
  EXPECT_EQ(fake::Launches()[0].extra_data.at("key"), "value");
}

TEST_F(FakePlatformTest, RaisesPackageEventsOfAnyType) {
  package_manager_h manager = nullptr;
  package_manager_create(&manager);
  package_manager_set_event_status(manager, PACKAGE_MANAGER_STATUS_TYPE_INSTALL);
  static std::vector<int> types;
  types.clear();
  package_manager_set_event_cb(
      manager,
      [](const char*, const char*, package_manager_event_type_e type, package_manager_event_state_e,
         int, package_manager_error_e, void*) {
        // Not read as an enumerator: the enumeration does not define every number.
        int number = 0;
        std::memcpy(&number, &type, sizeof(number));
        types.push_back(number);
      },
      nullptr);
  for (const int type : {0, 1, 2, 3, 8, 9, 100, -1}) {
    fake::RaisePackageEvent("tpk", "pkg", type, PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
  }
  EXPECT_THAT(types, ElementsAre(0, 3, 8, 9, 100, -1));
}

// A stub that records its events.
class FakeStubTest : public FakePlatformTest {
 protected:
  void SetUp() override {
    FakePlatformTest::SetUp();
    rpc_port_stub_create(&stub_, "port");
    rpc_port_stub_add_connected_event_cb(
        stub_,
        [](const char* sender, const char* instance, void* data) {
          AddEvent(data, "connected " + std::string(sender) + " " + instance);
        },
        this);
    rpc_port_stub_add_disconnected_event_cb(
        stub_,
        [](const char* sender, const char* instance, void* data) {
          AddEvent(data, "disconnected " + std::string(sender) + " " + instance);
        },
        this);
    rpc_port_stub_add_received_event_cb(stub_, Received, this);
  }

  static void AddEvent(void* data, const std::string& text) {
    static_cast<FakeStubTest*>(data)->events_.push_back(text);
  }

  static int Received(const char*, const char*, rpc_port_h port, void* data) {
    auto* test = static_cast<FakeStubTest*>(data);
    rpc_port_parcel_h parcel = nullptr;
    EXPECT_EQ(rpc_port_parcel_create_from_port(&parcel, port), 0);
    int number = 0;
    rpc_port_parcel_read_int32(parcel, &number);
    AddEvent(data, "received " + std::to_string(number));
    if (test->destroys_) rpc_port_stub_destroy(test->stub_);
    test->port_ = port;
    test->send_result_ = rpc_port_parcel_send(parcel, port);
    rpc_port_parcel_destroy(parcel);
    return number;
  }

  rpc_port_stub_h stub_ = nullptr;
  rpc_port_h port_ = nullptr;
  bool destroys_ = false;
  int send_result_ = 0;
  Texts events_;
};

TEST_F(FakeStubTest, RejectsConnectionUnlessListening) {
  EXPECT_THROW(fake::Connect("app", "one"), std::logic_error);
  rpc_port_stub_listen(stub_);
  fake::Connect("app", "one");
  EXPECT_THROW(fake::Connect("app", "one"), std::logic_error);
  EXPECT_THROW(fake::Disconnect("two"), std::logic_error);
  fake::Disconnect("one");
  EXPECT_EQ(events_, (Texts{"connected app one", "disconnected app one"}));
}

TEST_F(FakeStubTest, ReceivesAndSendsParcels) {
  rpc_port_stub_listen(stub_);
  fake::Connect("app", "one");
  EXPECT_EQ(fake::Receive("one", fake::ParcelWriter().SequenceNumber(5).Tag("t").Int32(0)), 0);
  EXPECT_EQ(events_.back(), "received 0");
  auto sent = fake::Sent("one", RPC_PORT_PORT_MAIN);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_EQ(sent[0].SequenceNumber(), 5);
  EXPECT_EQ(sent[0].Tag(), "t");
  EXPECT_EQ(sent[0].Int32(), 0);
  EXPECT_TRUE(sent[0].AtEnd());
  EXPECT_THROW(sent[0].Int32(), std::out_of_range);
  EXPECT_THAT(fake::Sent("one", RPC_PORT_PORT_CALLBACK), IsEmpty());
}

TEST_F(FakeStubTest, ClosesConnectionWhenCallbackFails) {
  rpc_port_stub_listen(stub_);
  fake::Connect("app", "one");
  EXPECT_EQ(fake::Receive("one", fake::ParcelWriter().Int32(-1)), -1);
  EXPECT_EQ(events_.back(), "disconnected app one");
  EXPECT_FALSE(fake::IsConnected("one"));
  EXPECT_EQ(fake::Sent("one", RPC_PORT_PORT_MAIN).size(), 1u);
}

TEST_F(FakeStubTest, ReportsUseOfClosedPort) {
  rpc_port_stub_listen(stub_);
  fake::Connect("app", "one");
  destroys_ = true;
  fake::Receive("one", fake::ParcelWriter().Int32(0));
  EXPECT_EQ(send_result_, -22);
  EXPECT_THAT(fake::UsageErrors(), ElementsAre("rpc_port_parcel_send: unknown port"));
}

}  // namespace
