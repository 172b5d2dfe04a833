// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>
#include <bundle.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "api/qor-handler-manager-api.h"
#include "common/exceptions.h"
#include "one-handler-test.h"

namespace {

using support::CountLogged;
using support::HandlerPeer;
using support::InfoLine;
using support::InstallHandler;
using support::kAnyLine;
using Strings = std::vector<std::string>;

constexpr int kOutOfMemory = -12;
constexpr int kUnknown = -1073741824;
constexpr int kNotSupportedCommand = -1073741826;

class LogicDispatch : public support::OneHandlerTest {
 protected:
  // Position of the last call of a platform function.
  static std::size_t LastCall(const std::string& function) {
    const auto calls = fake::Calls();
    for (std::size_t i = calls.size(); i > 0; --i) {
      if (calls[i - 1].function == function) return i;
    }
    ADD_FAILURE() << function << " was not called";
    return 0;
  }

  static int CountInfo(const std::string& message) {
    return CountLogged(DLOG_INFO, InfoLine("logic.cc", "SendCommand", kAnyLine, message));
  }

  static Strings LaunchedApps() {
    Strings apps;
    for (const auto& launch : fake::Launches()) apps.push_back(launch.app_id);
    return apps;
  }
};

TEST_F(LogicDispatch, RejectsUnknownRequestType) {
  EXPECT_EQ(Send("a", "other"), kNotSupportedCommand);
  EXPECT_EQ(CountLogged(DLOG_WARN,
                        support::PlainLine("logic.cc", "SendCommand", kAnyLine,
                                           "SCENARIO_TEST_LOG: Handler for request type 'other' "
                                           "not registered. Command execution aborted.")),
            1);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_TRUE(fake::Launches().empty());
  EXPECT_TRUE(client_.responses.empty());
}

TEST_F(LogicDispatch, ThrowsSpecificExceptions) {
  const auto router = api::QorHandlerManagerApi::Instance();
  try {
    router->SendCommand("a", "other", "", 0, 0);
    FAIL() << "no exception thrown";
  } catch (const NotSupportedCommand& error) {
    EXPECT_STREQ(error.what(), "");
  }
  router->SendCommand("a", "type", "", 0, 0);
  try {
    router->SendCommand("a", "type", "", 0, 0);
    FAIL() << "no exception thrown";
  } catch (const OperationFailed& error) {
    EXPECT_STREQ(error.what(), "Duplicated command uuid occurred.");
  }
}

TEST_F(LogicDispatch, LogsEnterAndExitAtInfoPriority) {
  ASSERT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("b", "other"), kNotSupportedCommand);
  const auto enter = [](const std::string& message) {
    return CountLogged(DLOG_INFO,
                       support::EnterLine("logic.cc", "SendCommand", kAnyLine) + message);
  };
  EXPECT_EQ(enter("SendCommand [a][type]"), 1);
  EXPECT_EQ(enter("SendCommand [b][other]"), 1);
  EXPECT_EQ(CountLogged(DLOG_INFO, support::ExitLine("logic.cc", "SendCommand")), 2);
}

TEST_F(LogicDispatch, RejectsUuidPendingAtSameHandler) {
  ASSERT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("a", "type"), kUnknown);
  EXPECT_EQ(CountInfo("Handler is [h]"), 1);
  EXPECT_EQ(fake::Launches().size(), 1u);
  EXPECT_EQ(fake::Timers().size(), 1u);
  HandlerPeer handler("h");
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
}

TEST_F(LogicDispatch, AcceptsSameUuidAtTwoHandlers) {
  InstallHandler("other", {"other"});
  support::RaiseInstalled(support::PackageOf("other"));
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("a", "other"), 0);
  EXPECT_EQ(LaunchedApps(), (Strings{"h", "other"}));
}

TEST_F(LogicDispatch, AcceptsUuidAgainAfterResult) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  handler.Answer("a");
  EXPECT_EQ(Send("a", "type"), 0);
}

TEST_F(LogicDispatch, ComparesUuidsByteForByte) {
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("A", "type"), 0);
  EXPECT_EQ(Send("a ", "type"), 0);
}

TEST_F(LogicDispatch, LaunchesApplicationForEachCommand) {
  for (const char* uuid : {"a", "b", "c"}) {
    ASSERT_EQ(Send(uuid, "type"), 0);
    const auto timers = fake::Timers();
    ASSERT_FALSE(timers.empty());
    EXPECT_DOUBLE_EQ(timers.back().interval, 5.0);
  }
  EXPECT_EQ(LaunchedApps(), (Strings{"h", "h", "h"}));
  EXPECT_EQ(CountInfo("Handler is [h]"), 3);
  EXPECT_EQ(CountInfo("Handler registered but not running. Launching..."), 3);
  EXPECT_EQ(CountInfo("Putting command on waiting queue."), 3);
}

TEST_F(LogicDispatch, LaunchesBeforeAddingCommand) {
  ASSERT_EQ(Send("a", "type"), 0);
  EXPECT_LT(LastCall("app_control_send_launch_request"), LastCall("ecore_timer_add"));
}

TEST_F(LogicDispatch, DropsCommandWhenLaunchFails) {
  fake::Fail("app_control_send_launch_request", APP_CONTROL_ERROR_APP_NOT_FOUND);
  EXPECT_EQ(Send("a", "type"), -1073741825);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("a", "type"), 0);
  HandlerPeer handler("h");
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
}

TEST_F(LogicDispatch, QueuesCommandUntilConnectedHandlerFetches) {
  HandlerPeer handler("h");
  ASSERT_EQ(Send("a", "type"), 0);
  EXPECT_TRUE(fake::Launches().empty());
  EXPECT_TRUE(handler.Deliveries().empty());
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 3.0);
  EXPECT_EQ(CountInfo("Handler connected but no FetchCommands callback is registered."), 1);
  EXPECT_EQ(CountInfo("Putting command on waiting queue."), 1);
}

TEST_F(LogicDispatch, DeliversAtOnceAfterFetch) {
  HandlerPeer handler("h");
  handler.Fetch(9);
  ASSERT_EQ(qor_handler_manager_send_command("a", "type", "{\"k\":1}", 7, 1234), 0);
  const auto deliveries = handler.Deliveries();
  ASSERT_EQ(deliveries.size(), 1u);
  EXPECT_EQ(deliveries[0].callback_id, 1);
  EXPECT_EQ(deliveries[0].callback_sequence, 9);
  EXPECT_EQ(deliveries[0].argument, "a");
  EXPECT_EQ(deliveries[0].uuid, "a");
  EXPECT_EQ(deliveries[0].request_type, "type");
  EXPECT_EQ(deliveries[0].payload, "{\"k\":1}");
  EXPECT_EQ(deliveries[0].timestamp, 1234);
  EXPECT_TRUE(deliveries[0].extra.empty());
  EXPECT_EQ(CountInfo("Handler connected and callback is registered."), 1);
  EXPECT_EQ(CountInfo("Putting command on waiting queue."), 0);
  EXPECT_TRUE(fake::Launches().empty());
}

TEST_F(LogicDispatch, StartsExecutionTimerBeforeDelivery) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  EXPECT_LT(LastCall("ecore_timer_add"), LastCall("rpc_port_parcel_send"));
}

TEST_F(LogicDispatch, RedeliversOnSecondFetch) {
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  fake::Advance(1.0);
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"a", "a"}));
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].due, 4.0);
}

TEST_F(LogicDispatch, IgnoresPayloadAndItsLength) {
  const auto router = api::QorHandlerManagerApi::Instance();
  HandlerPeer handler("h");
  handler.Fetch();
  int number = 0;
  for (const int length : {-99, 0, 1, 1000}) {
    router->SendCommand("uuid" + std::to_string(number++), "type", "no json", length, 0);
    EXPECT_EQ(handler.Deliveries().back().payload, "no json") << length;
  }
}

TEST_F(LogicDispatch, SignExtendsTimestamp) {
  const auto router = api::QorHandlerManagerApi::Instance();
  HandlerPeer handler("h");
  handler.Fetch();
  router->SendCommand("a", "type", "", 0, -5);
  EXPECT_EQ(handler.Deliveries().back().timestamp, -5);
}

TEST_F(LogicDispatch, AcceptsTimeoutsOfZero) {
  Start(0, 0);
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 0.0);
  EXPECT_TRUE(client_.responses.empty());
  fake::Advance(0.0);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicDispatch, KeepsCommandWhenTimerCannotBeCreated) {
  fake::Fail("ecore_timer_add", -12);
  EXPECT_EQ(Send("a", "type"), kUnknown);
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_EQ(Send("a", "type"), kUnknown);  // still pending
  HandlerPeer handler("h");
  handler.Fetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicDispatch, PassesResultOfCommandWithoutTimer) {
  fake::Fail("ecore_timer_add", -12);
  EXPECT_EQ(Send("a", "type"), kUnknown);
  HandlerPeer handler = ConnectAndFetch();
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  EXPECT_EQ(handler.Answer("a"), 0);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicDispatch, ReportsTimerThatCannotBeCreated) {
  const auto router = api::QorHandlerManagerApi::Instance();
  fake::Fail("ecore_timer_add", -12);
  try {
    router->SendCommand("a", "type", "", 0, 0);
    FAIL() << "no exception thrown";
  } catch (const OperationFailed& error) {
    EXPECT_STREQ(error.what(), "Could not initialize a timer.");
  }
}

TEST_F(LogicDispatch, KeepsCommandWhenDeliveryFails) {
  HandlerPeer handler("h");
  handler.Fetch(7, true);
  ASSERT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(Send("b", "type"), kUnknown);  // the callback is marked as once
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  handler.Fetch(8);
  EXPECT_EQ(handler.DeliveredUuids(), (Strings{"a", "a", "b"}));
}

TEST_F(LogicDispatch, KeepsCommandForHandlerWithoutCallbackPort) {
  HandlerPeer handler("h");
  fake::Fail("rpc_port_stub_get_port", RPC_PORT_ERROR_IO_ERROR);
  handler.Fetch();
  EXPECT_EQ(Send("a", "type"), kUnknown);
  EXPECT_EQ(DueTimes(), std::vector<double>{3.0});
  handler.Fetch(8);
  EXPECT_EQ(handler.DeliveredUuids(), Strings{"a"});
  EXPECT_EQ(handler.Answer("a"), 0);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicDispatch, KeepsCommandWhenDeliveryRunsOutOfMemory) {
  HandlerPeer handler = ConnectAndFetch();
  fake::Fail("bundle_dup", BUNDLE_ERROR_OUT_OF_MEMORY);
  EXPECT_EQ(Send("a", "type"), kOutOfMemory);
  EXPECT_TRUE(handler.DeliveredUuids().empty());
  fake::Advance(3);
  EXPECT_EQ(client_.AnsweredUuids(), Strings{"a"});
}

TEST_F(LogicDispatch, IgnoresErrorsOfSending) {
  HandlerPeer handler("h");
  handler.Fetch();
  fake::Fail("rpc_port_parcel_send", RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(Send("a", "type"), 0);
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicDispatch, ChoosesHandlerOfHighestPriority) {
  InstallHandler("low", {"shared"}, "10");
  InstallHandler("high", {"shared"}, "20");
  support::RaiseInstalled(support::PackageOf("low"));
  support::RaiseInstalled(support::PackageOf("high"));
  ASSERT_EQ(Send("a", "shared"), 0);
  EXPECT_EQ(LaunchedApps(), Strings{"high"});
}

TEST_F(LogicDispatch, PrefersPreloadedHandlerWithoutPriority) {
  InstallHandler("downloaded", {"shared"}, "100");
  InstallHandler("preloaded", {"shared"}, std::nullopt, true);
  support::RaiseInstalled(support::PackageOf("downloaded"));
  support::RaiseInstalled(support::PackageOf("preloaded"));
  ASSERT_EQ(Send("a", "shared"), 0);
  EXPECT_EQ(LaunchedApps(), Strings{"preloaded"});
}

TEST_F(LogicDispatch, ChoosesNextHandlerAfterUninstall) {
  InstallHandler("low", {"shared"}, "10");
  InstallHandler("high", {"shared"}, "20");
  support::RaiseInstalled(support::PackageOf("low"));
  support::RaiseInstalled(support::PackageOf("high"));
  support::RaiseUninstalling(support::PackageOf("high"));
  ASSERT_EQ(Send("a", "shared"), 0);
  EXPECT_EQ(LaunchedApps(), Strings{"low"});
}

TEST_F(LogicDispatch, StartsTimersOnMainLoopThread) {
  std::atomic<bool> done{false};
  std::thread caller([&] {
    EXPECT_EQ(Send("a", "type"), 0);
    done = true;
  });
  EXPECT_TRUE(fake::RunUntil([&done] { return done.load(); }));
  caller.join();
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(LogicDispatch, ReturnsTimerErrorToCallingThread) {
  fake::Fail("ecore_timer_add", -12);
  std::atomic<bool> done{false};
  std::thread caller([&] {
    EXPECT_EQ(Send("a", "type"), kUnknown);
    done = true;
  });
  EXPECT_TRUE(fake::RunUntil([&done] { return done.load(); }));
  caller.join();
}

}  // namespace
