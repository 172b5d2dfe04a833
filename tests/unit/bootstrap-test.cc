// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>

#include <cstdlib>

#include "api/qor-handler-manager-api.h"
#include "common/exceptions.h"
#include "library-test.h"

namespace {

using api::QorHandlerManagerApi;
using support::HandlerPeer;
using support::PlainLine;
using Strings = std::vector<std::string>;

constexpr int kUnknown = -1073741824;
constexpr int kNotSupportedCommand = -1073741826;

class Bootstrap : public support::LibraryTest {
 protected:
  // Log lines of the start only.
  static Strings StartLines() {
    Strings lines;
    for (const std::string& text : support::LoggedTexts(DLOG_DEBUG)) {
      if (text.find("qor-handler-manager-api.cc: ") == 0) lines.push_back(text);
    }
    return lines;
  }

  static Strings AllStartLines() {
    const char file[] = "qor-handler-manager-api.cc";
    return {PlainLine(file, "Instance", 54, "Create handlers::FileRepositoryBackend"),
            PlainLine(file, "Instance", 59, "Create handlers::Repository"),
            PlainLine(file, "Instance", 62, "Create handlers::Manager"),
            PlainLine(file, "Instance", 74, "Create ipc::ServiceManager"),
            PlainLine(file, "Instance", 78, "Create rpc_port::stub::stub::CommandHandler"),
            PlainLine(file, "Instance", 80, "rpc_port::stub::stub::CommandHandler Listen start")};
  }

  // Initializes the library with the default configuration.
  static int Initialize() {
    qor_handler_manager_configuration_h config = nullptr;
    EXPECT_EQ(qor_handler_manager_configuration_create(&config), 0);
    const int result = qor_handler_manager_initialize(config);
    EXPECT_EQ(qor_handler_manager_configuration_destroy(config), 0);
    return result;
  }

  // Calls every function that needs the router; none may crash.
  void CallEverything() {
    EXPECT_EQ(Send("a", "type"), kNotSupportedCommand);
    client_.ListenForResponses();
    client_.ListenForNegotiations();
    client_.ListenForUpdates();
    EXPECT_TRUE(support::Client::Handlers().empty());
    Start();
  }
};

TEST_F(Bootstrap, BuildsObjectGraphOnce) {
  const auto first = QorHandlerManagerApi::Instance();
  const auto second = QorHandlerManagerApi::Instance();
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_EQ(StartLines(), AllStartLines());
}

TEST_F(Bootstrap, DoesNothingWhenShutDownBeforeStart) {
  QorHandlerManagerApi::ShutDown();
  EXPECT_TRUE(fake::Log().empty());
  EXPECT_TRUE(fake::Calls().empty());
}

TEST_F(Bootstrap, BuildsNewObjectGraphAfterShutdown) {
  const auto first = QorHandlerManagerApi::Instance();
  QorHandlerManagerApi::ShutDown();
  fake::ClearLog();
  const auto second = QorHandlerManagerApi::Instance();
  EXPECT_NE(first, second);
  EXPECT_EQ(StartLines(), AllStartLines());
}

TEST_F(Bootstrap, StoresDatabaseInDataFolder) {
  Start();
  EXPECT_EQ(support::ReadFile(DatabasePath()), R"({"handlers":[]})");
}

TEST_F(Bootstrap, LoadsRegistryFromInstalledApplications) {
  support::WriteFile(".qor-handlers.db", "old text that is never read");
  support::InstallHandler("handler", {"b", "a"});
  Start();
  EXPECT_EQ(support::ReadFile(DatabasePath()),
            R"({"handlers":[{"handlerType":"AppHandler",)"
            R"("handlerData":{"appId":"handler","requestTypes":["a","b"]}}]})");
}

TEST_F(Bootstrap, ReloadsRegistryOnEveryStart) {
  support::InstallHandler("handler", {"type"});
  Start();
  qor_handler_manager_shutdown();
  fake::Uninstall(support::PackageOf("handler"));
  Start();
  EXPECT_EQ(support::ReadFile(DatabasePath()), R"({"handlers":[]})");
  EXPECT_EQ(Send("a", "type"), kNotSupportedCommand);
}

TEST_F(Bootstrap, ListensAfterLoadingRegistry) {
  support::InstallHandler("handler", {"type"});
  Start();
  const auto calls = fake::Calls();
  std::size_t listen = 0;
  std::size_t manifest = 0;
  for (std::size_t i = 0; i < calls.size(); ++i) {
    if (calls[i].function == "rpc_port_stub_listen") listen = i;
    if (calls[i].function == "app_info_foreach_metadata") manifest = i;
  }
  EXPECT_LT(manifest, listen);
  EXPECT_TRUE(fake::IsListening());
}

TEST_F(Bootstrap, NotifiesClientAfterChangeHasTakenEffect) {
  StartWithClient();
  std::vector<support::HandlerInfo> seen;
  std::string stored;
  client_.on_update = [&](const support::HandlerUpdate&) {
    seen = support::Client::Handlers();
    stored = support::ReadFile(DatabasePath());
  };
  support::InstallHandler("handler", {"type"});
  support::RaiseInstalled(support::PackageOf("handler"));
  EXPECT_EQ(seen, (std::vector<support::HandlerInfo>{{"handler", {"type"}}}));
  EXPECT_NE(stored.find("\"handler\""), std::string::npos);
}

TEST_F(Bootstrap, StopsListeningOnShutdown) {
  Start();
  qor_handler_manager_shutdown();
  EXPECT_FALSE(fake::IsListening());
  EXPECT_EQ(fake::OpenHandles(), "1 package manager");
}

TEST_F(Bootstrap, ReleasesConnectionsAndCommandsOnShutdown) {
  support::InstallHandler("handler", {"type"});
  StartWithClient();
  HandlerPeer handler("handler");
  handler.Fetch();
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(Send("b", "type"), 0);
  qor_handler_manager_shutdown();
  EXPECT_TRUE(client_.responses.empty());
  EXPECT_EQ(fake::OpenHandles(), "1 package manager");
}

TEST_F(Bootstrap, ClearsRouterThatIsStillReferenced) {
  support::InstallHandler("handler", {"type"});
  StartWithClient();
  const auto router = QorHandlerManagerApi::Instance();
  ASSERT_EQ(Send("a", "type"), 0);
  qor_handler_manager_shutdown();
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_THROW(router->SendCommand("b", "type", "", 0, 0), NotSupportedCommand);
  int handlers = 0;
  router->ForeachHandler(
      [](qor_handler_manager_handler_info_h, void* data) {
        ++*static_cast<int*>(data);
        return true;
      },
      &handlers);
  EXPECT_EQ(handlers, 0);
}

TEST_F(Bootstrap, UpdatesDatabaseAfterShutdown) {
  StartWithClient();
  qor_handler_manager_shutdown();
  support::InstallHandler("handler", {"type"});
  support::RaiseInstalled(support::PackageOf("handler"));
  EXPECT_NE(support::ReadFile(DatabasePath()).find("\"handler\""), std::string::npos);
  EXPECT_TRUE(client_.updates.empty());
}

TEST_F(Bootstrap, ReplacesOldRegistryOnNextStart) {
  Start();
  qor_handler_manager_shutdown();
  Start();
  EXPECT_EQ(fake::OpenHandles("package manager"), 1);
}

TEST_F(Bootstrap, DoesNotRetryFailedStart) {
  support::InstallHandler("handler", {"type"});
  fake::Fail("app_get_data_path", -5);
  EXPECT_EQ(Send("a", "type"), kUnknown);
  EXPECT_EQ(fake::CallCount("app_get_data_path"), 1);
  CallEverything();
  EXPECT_EQ(fake::CallCount("app_get_data_path"), 1);
  EXPECT_FALSE(fake::IsListening());
}

TEST_F(Bootstrap, ReturnsSuccessWhenInitializedAgainAfterAFailedStart) {
  support::InstallHandler("handler", {"type"});
  fake::Fail("package_manager_create", PACKAGE_MANAGER_ERROR_PERMISSION_DENIED);
  EXPECT_EQ(Initialize(), kUnknown);
  EXPECT_EQ(Initialize(), 0);
  EXPECT_FALSE(fake::IsListening());
  EXPECT_EQ(Send("a", "type"), kNotSupportedCommand);
  qor_handler_manager_shutdown();
  EXPECT_EQ(Initialize(), 0);
  EXPECT_TRUE(fake::IsListening());
  EXPECT_EQ(Send("a", "type"), 0);
}

// The result of an agent without the privilege packagemanager.info on a device.
TEST_F(Bootstrap, ReturnsUnknownErrorWhenThePackageManagerDeniesPermission) {
  for (const char* function : {"package_manager_create", "package_manager_set_event_cb"}) {
    fake::FailAlways(function, PACKAGE_MANAGER_ERROR_PERMISSION_DENIED);
    EXPECT_EQ(Initialize(), kUnknown) << function;
    EXPECT_EQ(qor_handler_manager_shutdown(), 0);
    fake::FailAlways(function, 0);
  }
  EXPECT_EQ(Initialize(), 0);
}

TEST_F(Bootstrap, ShutsDownWhenDataFolderIsUnavailable) {
  fake::Fail("app_get_data_path", -5);
  EXPECT_EQ(qor_handler_manager_foreach_handler_info(
                [](qor_handler_manager_handler_info_h, void*) { return true; }, nullptr),
            kUnknown);
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
  EXPECT_EQ(fake::OpenHandles(), "");
  support::InstallHandler("handler", {"type"});
  EXPECT_EQ(Send("a", "type"), 0);
}

TEST_F(Bootstrap, SurvivesUnavailablePackageManager) {
  for (const char* function : {"package_manager_create", "package_manager_set_event_status",
                               "package_manager_set_event_cb"}) {
    fake::Fail(function, -13);
    EXPECT_EQ(Send("a", "type"), kUnknown) << function;
    CallEverything();
    EXPECT_EQ(qor_handler_manager_shutdown(), 0);
    EXPECT_EQ(fake::OpenHandles(), "") << function;
  }
}

TEST_F(Bootstrap, SurvivesFailureToCreateStub) {
  fake::Fail("rpc_port_stub_create", RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(Send("a", "type"), kUnknown);
  CallEverything();
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
}

TEST_F(Bootstrap, SurvivesFailureToListen) {
  fake::Fail("rpc_port_stub_listen", RPC_PORT_ERROR_IO_ERROR);
  EXPECT_EQ(Send("a", "type"), kUnknown);
  CallEverything();
  EXPECT_EQ(qor_handler_manager_shutdown(), 0);
  EXPECT_EQ(fake::OpenHandles("stub"), 0);
}

TEST_F(Bootstrap, ContinuesAfterOtherErrorsOfListening) {
  fake::Fail("rpc_port_stub_listen", RPC_PORT_ERROR_PERMISSION_DENIED);
  client_.ListenForResponses();
  EXPECT_FALSE(fake::IsListening());
}

// In a separate process, without objects of an earlier start.
TEST_F(Bootstrap, ShutsDownAfterFailedFirstStart) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        fake::Fail("app_get_data_path", -5);
        const bool failed = Send("a", "type") == kUnknown;
        std::exit(failed && qor_handler_manager_shutdown() == 0 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST_F(Bootstrap, AllowsProcessExitWithoutShutdown) {
  ::testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        support::InstallHandler("handler", {"type"});
        StartWithClient();
        HandlerPeer handler("handler");
        handler.Fetch();
        Send("a", "type");
        Send("b", "type");
        std::exit(fake::UsageErrors().empty() ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
