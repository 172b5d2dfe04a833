// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/qor-handler-manager-api.h"
#include "library-test.h"

// Only AddressSanitizer can detect that memory has been released.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOR_HAS_ADDRESS_SANITIZER 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define QOR_HAS_ADDRESS_SANITIZER 1
#endif
#ifdef QOR_HAS_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#endif

namespace {

using support::HandlerInfo;
using support::HandlerPeer;
using support::HandlerUpdate;
using support::InstallHandler;
using support::PackageOf;

constexpr int kFailToSendAppControl = -1073741825;
constexpr int kNotSupportedCommand = -1073741826;

class LogicEvents : public support::LibraryTest {
 protected:
  static int CountHandlers(bool keep_going) {
    struct Visits {
      int count;
      bool keep_going;
    } visits{0, keep_going};
    EXPECT_EQ(qor_handler_manager_foreach_handler_info(
                  [](qor_handler_manager_handler_info_h, void* data) {
                    ++static_cast<Visits*>(data)->count;
                    return static_cast<Visits*>(data)->keep_going;
                  },
                  &visits),
              0);
    return visits.count;
  }
};

TEST_F(LogicEvents, AreIgnoredWithoutCallback) {
  Start();
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  support::RaiseUpdated(PackageOf("h"));
  support::RaiseUninstalling(PackageOf("h"));
  EXPECT_TRUE(support::LoggedTexts(DLOG_ERROR).empty());
}

TEST_F(LogicEvents, NotifyClientOfEachUpdate) {
  StartWithClient();
  InstallHandler("h", {"b", "a"});
  support::RaiseInstalled(PackageOf("h"));
  InstallHandler("h", {"c"});
  support::RaiseUpdated(PackageOf("h"));
  support::RaiseUninstalling(PackageOf("h"));
  EXPECT_EQ(client_.updates, (std::vector<HandlerUpdate>{
                                 {0, {"h", {"a", "b"}}}, {2, {"h", {"c"}}}, {1, {"h", {"c"}}}}));
}

#ifdef QOR_HAS_ADDRESS_SANITIZER
TEST_F(LogicEvents, PassRecordValidDuringCallOnly) {
  Start();
  char** request_types = nullptr;
  qor_handler_manager_set_handler_update_cb(
      [](qor_handler_update_type_e, qor_handler_manager_handler_info_h info, void* data) {
        qor_handler_manager_handler_info_supported_request_types_get(info,
                                                                     static_cast<char***>(data));
      },
      &request_types);
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  ASSERT_NE(request_types, nullptr);
  EXPECT_TRUE(__asan_address_is_poisoned(request_types));
}
#endif

TEST_F(LogicEvents, CallLastCallback) {
  StartWithClient();
  support::Client other;
  other.ListenForUpdates();
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  EXPECT_TRUE(client_.updates.empty());
  EXPECT_EQ(other.updates.size(), 1u);
}

TEST_F(LogicEvents, AreDisabledByNullCallback) {
  StartWithClient();
  const auto router = api::QorHandlerManagerApi::Instance();
  router->SetHandlerUpdateCallback(nullptr, nullptr);
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  EXPECT_TRUE(client_.updates.empty());
}

TEST_F(LogicEvents, KeepCommandsOfRemovedHandler) {
  InstallHandler("h", {"type"});
  StartWithClient();
  HandlerPeer handler("h");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  support::RaiseUninstalling(PackageOf("h"));
  EXPECT_EQ(fake::Timers().size(), 1u);
  EXPECT_EQ(Send("b", "type"), kNotSupportedCommand);
  handler.Answer("a");
  EXPECT_EQ(client_.AnsweredUuids(), std::vector<std::string>{"a"});
}

TEST_F(LogicEvents, ChangeHandlerOfRequestType) {
  StartWithClient();
  EXPECT_EQ(Send("a", "type"), kNotSupportedCommand);
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  EXPECT_EQ(Send("a", "type"), 0);
  InstallHandler("h", {"other"});
  support::RaiseUpdated(PackageOf("h"));
  EXPECT_EQ(Send("b", "type"), kNotSupportedCommand);
  EXPECT_EQ(Send("b", "other"), 0);
}

TEST_F(LogicEvents, KeepHandlerRemovedAfterFailedUninstall) {
  InstallHandler("h", {"type"});
  StartWithClient();
  support::RaiseUninstalling(PackageOf("h"));
  fake::RaisePackageEvent("tpk", PackageOf("h"), PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_FAILED);
  EXPECT_EQ(Send("a", "type"), kNotSupportedCommand);
  EXPECT_EQ(client_.updates, (std::vector<HandlerUpdate>{{1, {"h", {"type"}}}}));
  support::RaiseUpdated(PackageOf("h"));
  EXPECT_EQ(Send("a", "type"), 0);
}

TEST_F(LogicEvents, KeepHandlerAfterUpdateWithInvalidConfiguration) {
  InstallHandler("h", {"type"});
  StartWithClient();
  support::WriteFile("packages/package.h/res/h.yaml", "request-types: none\n");
  support::RaiseUpdated(PackageOf("h"));
  EXPECT_EQ(Send("a", "type"), 0);
  support::RaiseUninstalling(PackageOf("h"));
  fake::Uninstall(PackageOf("h"));
  EXPECT_TRUE(client_.updates.empty());
  EXPECT_EQ(Send("b", "type"), kFailToSendAppControl);
  qor_handler_manager_shutdown();
  EXPECT_EQ(Send("b", "type"), kNotSupportedCommand);
}

TEST_F(LogicEvents, KeepOneRecordOfHandlerInstalledTwice) {
  StartWithClient();
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  support::RaiseInstalled(PackageOf("h"));
  EXPECT_EQ(support::Client::Handlers(),
            (std::vector<HandlerInfo>{{"h", {"type"}}, {"h", {"type"}}}));
  support::RaiseUninstalling(PackageOf("h"));
  fake::Uninstall(PackageOf("h"));
  EXPECT_EQ(support::Client::Handlers(), (std::vector<HandlerInfo>{{"h", {"type"}}}));
  EXPECT_EQ(Send("a", "type"), kFailToSendAppControl);
  qor_handler_manager_shutdown();
  EXPECT_EQ(Send("a", "type"), kNotSupportedCommand);
}

TEST_F(LogicEvents, UpdateDatabase) {
  StartWithClient();
  InstallHandler("h", {"type"});
  support::RaiseInstalled(PackageOf("h"));
  EXPECT_NE(support::ReadFile(DatabasePath()).find("\"h\""), std::string::npos);
  support::RaiseUninstalling(PackageOf("h"));
  EXPECT_EQ(support::ReadFile(DatabasePath()), R"({"handlers":[]})");
}

TEST_F(LogicEvents, CatchExceptionsOfClientCallback) {
  StartWithClient();
  client_.on_update = [](const HandlerUpdate&) { throw std::runtime_error("test error"); };
  InstallHandler("h", {"type"});
  EXPECT_NO_THROW(support::RaiseInstalled(PackageOf("h")));
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
  EXPECT_EQ(Send("a", "type"), 0);
}

TEST_F(LogicEvents, EnumerateNothingInEmptyRegistry) {
  Start();
  EXPECT_EQ(CountHandlers(true), 0);
}

TEST_F(LogicEvents, EnumerateEveryHandlerOnce) {
  InstallHandler("a", {"x", "y", "z"});
  InstallHandler("b", {"y"});
  Start();
  EXPECT_EQ(support::Client::Handlers(),
            (std::vector<HandlerInfo>{{"a", {"x", "y", "z"}}, {"b", {"y"}}}));
}

TEST_F(LogicEvents, StopEnumerationWhenCallbackReturnsFalse) {
  InstallHandler("a", {"x"});
  InstallHandler("b", {"y"});
  Start();
  EXPECT_EQ(CountHandlers(false), 1);
  EXPECT_EQ(CountHandlers(true), 2);
}

TEST_F(LogicEvents, ApplyNewConfigurationToNextTimers) {
  InstallHandler("h", {"type"});
  InstallHandler("other", {"other"});
  Start();
  ASSERT_EQ(Send("a", "type"), 0);
  Start(1000, 2000);
  const HandlerPeer peer("other");
  ASSERT_EQ(Send("b", "other"), 0);
  support::InstallHandler("third", {"third"});
  support::RaiseInstalled(PackageOf("third"));
  ASSERT_EQ(Send("c", "third"), 0);
  const auto timers = fake::Timers();
  ASSERT_EQ(timers.size(), 3u);
  EXPECT_DOUBLE_EQ(timers[0].due, 1.0);
  EXPECT_DOUBLE_EQ(timers[1].due, 2.0);
  EXPECT_DOUBLE_EQ(timers[2].due, 5.0);
}

TEST_F(LogicEvents, DropCommandsWithoutResponseOnShutdown) {
  InstallHandler("h", {"type"});
  StartWithClient();
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(Send("b", "type"), 0);
  qor_handler_manager_shutdown();
  EXPECT_TRUE(fake::Timers().empty());
  fake::Advance(100);
  EXPECT_TRUE(client_.responses.empty());
}

}  // namespace
