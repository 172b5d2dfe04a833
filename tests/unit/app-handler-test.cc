// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/app-handler.h"

#include <app_control.h>
#include <package_manager.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <csignal>

#include "common/exceptions.h"
#include "library-test.h"
#include "tizen/exception.h"

namespace {

using handlers::AppHandler;
using support::InstallHandler;
using support::kCommandHandlerKey;
using support::kPriorityKey;
using Types = std::set<std::string>;

std::string Stored(const handlers::BaseHandler& handler) {
  json::Document document;
  handler.ToJson(document, document.GetAllocator());
  json::StringBuffer text;
  json::Writer<> writer(text);
  document.Accept(writer);
  return text.GetString();
}

AppHandler FromText(const std::string& text) {
  json::Document document;
  document.Parse(text.c_str());
  return AppHandler(document, {});
}

class AppHandlerRecord : public support::PlatformTest {};

TEST_F(AppHandlerRecord, StoresIdAndSortedRequestTypes) {
  const auto handler = FromText(R"({"appId":"x","requestTypes":["b","a"]})");
  EXPECT_EQ(Stored(handler), R"({"appId":"x","requestTypes":["a","b"]})");
}

TEST_F(AppHandlerRecord, StoresNoPriority) {
  auto handler = FromText(R"({"appId":"x","requestTypes":["a"]})");
  handler.SetPriority(50);
  EXPECT_EQ(FromText(Stored(handler)).Priority(), 0);
}

TEST_F(AppHandlerRecord, IsInvalidWithoutListOfRequestTypes) {
  auto handler = FromText(R"({"appId":"x","requestTypes":"y"})");
  EXPECT_EQ(handler.Id(), "x");
  EXPECT_TRUE(handler.RequestTypes().empty());
  EXPECT_FALSE(handler.IsValid());
}

TEST_F(AppHandlerRecord, SkipsRequestTypesThatAreNotStrings) {
  EXPECT_EQ(FromText(R"({"appId":"x","requestTypes":[1,"a",null,"a"]})").RequestTypes(),
            Types{"a"});
}

TEST_F(AppHandlerRecord, IsValidWithRequestTypeAndEmptyId) {
  EXPECT_TRUE(FromText(R"({"appId":"","requestTypes":["a"]})").IsValid());
}

TEST_F(AppHandlerRecord, AddsRequestTypesFromJson) {
  auto handler = FromText(R"({"appId":"x","requestTypes":["a"]})");
  json::Document more;
  more.Parse(R"({"appId":"y","requestTypes":["b"]})");
  handler.FromJson(more);
  EXPECT_EQ(handler.Id(), "y");
  EXPECT_EQ(handler.RequestTypes(), (Types{"a", "b"}));
}

TEST_F(AppHandlerRecord, TruncatesIdAtNul) {
  EXPECT_EQ(FromText(R"({"appId":"x\u0000y","requestTypes":[]})").Id(), "x");
}

TEST_F(AppHandlerRecord, CopiesStringsToJson) {
  // Too long for the small-string buffer, so that a reference to the record's memory would dangle.
  const std::string text(1000, 'x');
  json::Document document;
  FromText(R"({"appId":")" + text + R"(","requestTypes":[")" + text + R"("]})")
      .ToJson(document, document.GetAllocator());
  EXPECT_EQ(document["appId"].GetString(), text);
  EXPECT_EQ(document["requestTypes"][0].GetString(), text);
}

TEST_F(AppHandlerRecord, ComparesIdOnly) {
  const auto first =
      std::make_shared<AppHandler>(FromText(R"({"appId":"x","requestTypes":["a"]})"));
  const auto second =
      std::make_shared<AppHandler>(FromText(R"({"appId":"x","requestTypes":["b"]})"));
  const auto other =
      std::make_shared<AppHandler>(FromText(R"({"appId":"xy","requestTypes":["a"]})"));
  second->SetPriority(50);
  EXPECT_TRUE(first->Compare(second));
  EXPECT_TRUE(second->Compare(first));
  EXPECT_FALSE(first->Compare(other));
  EXPECT_FALSE(first->Compare(nullptr));
}

class AppHandlerDeathTest : public AppHandlerRecord {
 protected:
  // The JSON library's assertions abort the process even with NDEBUG.
  static void ExpectAbort(const std::string& text, const std::string& condition) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(FromText(text), ::testing::KilledBySignal(SIGABRT),
                "Handler database: assertion failed: " + condition + "\n")
        << text;
  }
};

TEST_F(AppHandlerDeathTest, AbortsOnNonObject) {
  ExpectAbort("[]", "IsObject\\(\\)");
  ExpectAbort("null", "IsObject\\(\\)");
}

TEST_F(AppHandlerDeathTest, AbortsOnMissingId) { ExpectAbort(R"({"requestTypes":[]})", "false"); }

TEST_F(AppHandlerDeathTest, AbortsOnMissingRequestTypes) {
  ExpectAbort(R"({"appId":"x"})", "false");
}

TEST_F(AppHandlerDeathTest, AbortsOnNonStringId) {
  ExpectAbort(R"({"appId":1,"requestTypes":[]})", "IsString\\(\\)");
}

class AppHandlerManifest : public support::PlatformTest {
 protected:
  static int PriorityOf(const std::string& value, bool preloaded = false) {
    InstallHandler("app", {"type"}, value, preloaded);
    return AppHandler("app", {}).Priority();
  }

  static int PriorityErrors() {
    return support::CountLogged(
        DLOG_ERROR,
        support::ErrorLine("app-handler.cc", "LoadDataFromManifest", support::kAnyLine,
                           "Invalid priority value for the app with id: app, setting priority to "
                           "0"));
  }

  static int MissingPriorityWarnings() {
    return support::CountLogged(
        DLOG_WARN, support::PlainLine("app-handler.cc", "LoadDataFromManifest", support::kAnyLine,
                                      "Priority key not found for the app with id: app, setting "
                                      "priority to 0"));
  }
};

TEST_F(AppHandlerManifest, ReadsDeclaredPriority) {
  EXPECT_EQ(PriorityOf("50"), 50);
  EXPECT_EQ(PriorityOf("1"), 1);
  EXPECT_EQ(PriorityOf("100"), 100);
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(AppHandlerManifest, AddsBonusForPreloadedPackage) {
  EXPECT_EQ(PriorityOf("50", true), 151);
  EXPECT_EQ(PriorityOf("1", true), 102);
  EXPECT_EQ(PriorityOf("100", true), 201);
}

TEST_F(AppHandlerManifest, ClampsPriority) {
  EXPECT_EQ(PriorityOf("0"), 1);
  EXPECT_EQ(PriorityOf("-7"), 1);
  EXPECT_EQ(PriorityOf("250"), 100);
  EXPECT_EQ(PriorityOf("-2147483648"), 1);
}

TEST_F(AppHandlerManifest, IgnoresTextAfterPriority) {
  EXPECT_EQ(PriorityOf("12abc"), 12);
  EXPECT_EQ(PriorityOf("  12"), 12);
  EXPECT_EQ(PriorityOf("+12"), 12);
  EXPECT_EQ(PriorityOf("0x10"), 1);
}

TEST_F(AppHandlerManifest, LogsErrorForInvalidPriority) {
  EXPECT_EQ(PriorityOf("abc"), 0);
  EXPECT_EQ(PriorityErrors(), 1);
  EXPECT_EQ(PriorityOf("99999999999"), 0);
  EXPECT_EQ(PriorityErrors(), 2);
  EXPECT_EQ(PriorityOf(""), 0);
  EXPECT_EQ(PriorityErrors(), 3);
}

TEST_F(AppHandlerManifest, AddsBonusToInvalidPriorityOfPreloadedPackage) {
  EXPECT_EQ(PriorityOf("abc", true), 101);
  EXPECT_EQ(PriorityErrors(), 1);
}

TEST_F(AppHandlerManifest, WarnsOfMissingPriority) {
  InstallHandler("app", {"type"}, std::nullopt);
  EXPECT_EQ(AppHandler("app", {}).Priority(), 0);
  EXPECT_EQ(MissingPriorityWarnings(), 1);
  InstallHandler("app", {"type"}, std::nullopt, true);
  EXPECT_EQ(AppHandler("app", {}).Priority(), 101);
  EXPECT_EQ(MissingPriorityWarnings(), 2);
}

TEST_F(AppHandlerManifest, ReadsConfigurationFileBelowPackageRoot) {
  const std::string root = fake::DataPath() + "opt/pkg";
  support::WriteFile("opt/pkg/res/handler.yaml", "request-types: [b, a, b]\n");
  fake::Install({"pkg", root, false, {{"app", {{kCommandHandlerKey, "res/handler.yaml"}}}}, {}});
  EXPECT_EQ(AppHandler("app", {}).RequestTypes(), (Types{"a", "b"}));
}

TEST_F(AppHandlerManifest, ReadsConfigurationFileOutsideOfPackage) {
  const std::string root = fake::DataPath() + "opt/pkg";
  support::WriteFile("opt/pkg/tizen-manifest.xml", "");
  support::WriteFile("opt/other.yaml", "request-types: [a]\n");
  fake::Install({"pkg", root, false, {{"app", {{kCommandHandlerKey, "../other.yaml"}}}}, {}});
  EXPECT_EQ(AppHandler("app", {}).RequestTypes(), Types{"a"});
}

TEST_F(AppHandlerManifest, LogsFullPathOfMissingConfigurationFile) {
  fake::Install({"pkg", "/opt/pkg", false, {{"app", {{kCommandHandlerKey, "res/none.yaml"}}}}, {}});
  EXPECT_FALSE(AppHandler("app", {}).IsValid());
  EXPECT_EQ(
      support::CountLogged(
          DLOG_ERROR, support::ErrorLine("handler-config.cc", "FromYaml", support::kAnyLine,
                                         "Unable to parse config file: /opt/pkg/res/none.yaml")),
      1);
}

TEST_F(AppHandlerManifest, UsesFirstOfDuplicateConfigurationFiles) {
  const std::string root = fake::DataPath() + "pkg";
  support::WriteFile("pkg/first.yaml", "request-types: [first]\n");
  support::WriteFile("pkg/second.yaml", "request-types: [second]\n");
  fake::Install(
      {"pkg",
       root,
       false,
       {{"app", {{kCommandHandlerKey, "first.yaml"}, {kCommandHandlerKey, "second.yaml"}}}},
       {}});
  EXPECT_EQ(AppHandler("app", {}).RequestTypes(), Types{"first"});
}

TEST_F(AppHandlerManifest, UsesFirstOfDuplicatePriorities) {
  fake::Install(
      {"pkg", "/opt/pkg", false, {{"app", {{kPriorityKey, "7"}, {kPriorityKey, "8"}}}}, {}});
  EXPECT_EQ(AppHandler("app", {}).Priority(), 7);
}

TEST_F(AppHandlerManifest, MatchesKeysExactly) {
  const std::string key = kCommandHandlerKey;
  const std::string path = "/iot/metadata/qor/command-handler";
  support::WriteFile("pkg/h.yaml", "request-types: [type]\n");
  fake::Install({"pkg",
                 fake::DataPath() + "pkg",
                 false,
                 {{"app", {{path, "h.yaml"}, {key + "s", "h.yaml"}, {kPriorityKey, "7"}}}},
                 {}});
  EXPECT_FALSE(AppHandler("app", {}).IsValid());
}

TEST_F(AppHandlerManifest, IsInvalidWithoutCommandHandlerKey) {
  support::InstallPackage("pkg", {{"app", std::nullopt, "50"}});
  const AppHandler handler("app", {});
  EXPECT_FALSE(handler.IsValid());
  EXPECT_EQ(handler.Priority(), 50);
}

TEST_F(AppHandlerManifest, ThrowsOnPlatformErrors) {
  InstallHandler("app", {"type"});
  EXPECT_THROW(AppHandler("missing", {}), tizen::Exception);
  for (const char* function : {"app_manager_get_app_info", "app_info_get_package",
                               "package_manager_get_package_info", "app_info_foreach_metadata",
                               "package_info_get_root_path", "package_info_is_preload_package"}) {
    fake::Fail(function, -5);
    EXPECT_THROW(AppHandler("app", {}), tizen::Exception) << function;
    EXPECT_EQ(fake::OpenHandles(), "") << function;
  }
}

class AppHandlerLaunch : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    InstallHandler("app", {"type"});
    handler_ = std::make_unique<AppHandler>("app", std::weak_ptr<ipc::ServiceManager>());
    fake::ClearLog();
  }

  std::unique_ptr<AppHandler> handler_;
};

TEST_F(AppHandlerLaunch, SendsFetchCommandRequest) {
  handler_->Notify();
  ASSERT_EQ(fake::Launches().size(), 1u);
  EXPECT_EQ(fake::Launches()[0].app_id, "app");
  EXPECT_EQ(fake::Launches()[0].extra_data,
            (std::map<std::string, std::string>{{"Notify", "FetchCommand"}}));
}

TEST_F(AppHandlerLaunch, SendsOneRequestPerCall) {
  handler_->Notify();
  handler_->Notify();
  EXPECT_EQ(fake::Launches().size(), 2u);
}

TEST_F(AppHandlerLaunch, LogsEnterAndExit) {
  handler_->Notify();
  EXPECT_EQ(support::CountLogged(DLOG_DEBUG,
                                 support::EnterLine("app-handler.cc", "Notify", support::kAnyLine)),
            1);
  EXPECT_EQ(support::CountLogged(DLOG_DEBUG, support::ExitLine("app-handler.cc", "Notify")), 1);
  EXPECT_EQ(fake::Log().size(), 2u);
}

TEST_F(AppHandlerLaunch, DoesNothingWithoutId) {
  auto handler = FromText(R"({"appId":"","requestTypes":["a"]})");
  handler.Notify();
  EXPECT_TRUE(fake::Launches().empty());
  EXPECT_EQ(fake::CallCount("app_control_create"), 0);
  EXPECT_EQ(support::CountLogged(DLOG_DEBUG,
                                 support::EnterLine("app-handler.cc", "Notify", support::kAnyLine)),
            1);
}

TEST_F(AppHandlerLaunch, LogsPlatformErrorOfRejectedRequest) {
  fake::Fail("app_control_send_launch_request", APP_CONTROL_ERROR_LAUNCH_REJECTED);
  try {
    handler_->Notify();
    FAIL() << "no exception thrown";
  } catch (const FailToSendAppControl& error) {
    EXPECT_STREQ(error.what(), "");
  }
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 1u);
  EXPECT_EQ(
      support::CountLogged(
          DLOG_ERROR, support::ErrorLine("app-handler.cc", "Notify", support::kAnyLine,
                                         std::string("Failed to launch app: ") +
                                             get_error_message(APP_CONTROL_ERROR_LAUNCH_REJECTED))),
      1);
  EXPECT_EQ(fake::OpenHandles(), "");
}

TEST_F(AppHandlerLaunch, ThrowsWhenExtraDataIsRejected) {
  fake::Fail("app_control_add_extra_data", APP_CONTROL_ERROR_KEY_REJECTED);
  EXPECT_THROW(handler_->Notify(), FailToSendAppControl);
  EXPECT_EQ(fake::CallCount("app_control_send_launch_request"), 0);
  EXPECT_EQ(support::LoggedTexts(DLOG_ERROR).size(), 0u);
  EXPECT_EQ(fake::OpenHandles(), "");
}

TEST_F(AppHandlerLaunch, IgnoresErrorOfSettingAppId) {
  fake::Fail("app_control_set_app_id", APP_CONTROL_ERROR_OUT_OF_MEMORY);
  // The platform rejects a request without an application id.
  EXPECT_THROW(handler_->Notify(), FailToSendAppControl);
  EXPECT_EQ(fake::CallCount("app_control_send_launch_request"), 1);
}

TEST_F(AppHandlerLaunch, ThrowsWhenRequestCannotBeCreated) {
  fake::Fail("app_control_create", APP_CONTROL_ERROR_OUT_OF_MEMORY);
  EXPECT_THROW(handler_->Notify(), FailToSendAppControl);
  EXPECT_EQ(fake::CallCount("app_control_destroy"), 0);
}

}  // namespace
