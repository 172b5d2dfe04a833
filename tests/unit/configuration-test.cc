// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/configuration.h"

#include "library-test.h"

namespace {

using support::EnterLine;
using support::ExitLine;
using support::LoggedTexts;
using Strings = std::vector<std::string>;

class Configuration : public support::LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    ASSERT_EQ(qor_handler_manager_configuration_create(&config_), 0);
    fake::ClearLog();
  }

  void TearDown() override {
    if (config_) {
      EXPECT_EQ(qor_handler_manager_configuration_destroy(config_), 0);
    }
    LibraryTest::TearDown();
  }

  qor_handler_manager_configuration_h config_ = nullptr;
};

TEST_F(Configuration, HasDefaults) {
  EXPECT_EQ(config_->GetExecutionTimeout(), 3000);
  EXPECT_EQ(config_->GetConnectionTimeout(), 5000);
}

TEST_F(Configuration, RejectsNullOutput) {
  EXPECT_EQ(qor_handler_manager_configuration_create(nullptr), -22);
}

TEST_F(Configuration, StoresEachTimeout) {
  EXPECT_EQ(qor_handler_manager_configuration_set_command_execution_timeout(config_, 1), 0);
  EXPECT_EQ(qor_handler_manager_configuration_set_connection_timeout(config_, 2), 0);
  EXPECT_EQ(config_->GetExecutionTimeout(), 1);
  EXPECT_EQ(config_->GetConnectionTimeout(), 2);
}

TEST_F(Configuration, AcceptsNegativeTimeoutAndZero) {
  EXPECT_EQ(qor_handler_manager_configuration_set_command_execution_timeout(config_, -1), 0);
  EXPECT_EQ(qor_handler_manager_configuration_set_connection_timeout(config_, 0), 0);
  EXPECT_EQ(config_->GetExecutionTimeout(), -1);
  EXPECT_EQ(config_->GetConnectionTimeout(), 0);
}

TEST_F(Configuration, RejectsNullHandle) {
  EXPECT_EQ(qor_handler_manager_configuration_set_command_execution_timeout(nullptr, 1), -22);
  EXPECT_EQ(qor_handler_manager_configuration_set_connection_timeout(nullptr, 1), -22);
}

TEST_F(Configuration, LogsEnterAndExitOfEachFunction) {
  qor_handler_manager_configuration_h other = nullptr;
  ASSERT_EQ(qor_handler_manager_configuration_create(&other), 0);
  qor_handler_manager_configuration_set_command_execution_timeout(other, 1);
  qor_handler_manager_configuration_set_connection_timeout(nullptr, 1);
  EXPECT_EQ(qor_handler_manager_configuration_destroy(other), 0);
  const std::string exit = ExitLine("c-api.cc", "operator()");
  EXPECT_EQ(LoggedTexts(DLOG_DEBUG), (Strings{EnterLine("c-api.cc", "operator()", 73), exit,
                                              EnterLine("c-api.cc", "operator()", 87), exit,
                                              EnterLine("c-api.cc", "operator()", 100), exit}));
}

TEST_F(Configuration, LogsOnlyErrorWhenNullIsDestroyed) {
  EXPECT_EQ(qor_handler_manager_configuration_destroy(nullptr), -22);
  ASSERT_EQ(fake::Log().size(), 1u);
  EXPECT_EQ(LoggedTexts(DLOG_ERROR),
            Strings{support::ErrorLine("c-api.cc", "qor_handler_manager_configuration_destroy", 113,
                                       "config is nullptr")});
}

TEST_F(Configuration, LogsNothingWhenDestroyed) {
  EXPECT_EQ(qor_handler_manager_configuration_destroy(config_), 0);
  config_ = nullptr;
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(Configuration, DoesNotStartTheLibrary) {
  EXPECT_EQ(fake::CallCount("package_manager_create"), 0);
  EXPECT_EQ(fake::CallCount("rpc_port_stub_create"), 0);
}

TEST_F(Configuration, CanBeDestroyedAfterInitialize) {
  support::InstallHandler("handler", {"type"});
  qor_handler_manager_configuration_set_command_execution_timeout(config_, 1000);
  qor_handler_manager_configuration_set_connection_timeout(config_, 2000);
  ASSERT_EQ(qor_handler_manager_initialize(config_), 0);
  EXPECT_EQ(qor_handler_manager_configuration_destroy(config_), 0);
  config_ = nullptr;
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 2.0);
}

TEST_F(Configuration, IsInMilliseconds) {
  support::InstallHandler("handler", {"type"});
  qor_handler_manager_configuration_set_command_execution_timeout(config_, 1250);
  qor_handler_manager_configuration_set_connection_timeout(config_, 1);
  ASSERT_EQ(qor_handler_manager_initialize(config_), 0);
  ASSERT_EQ(Send("a", "type"), 0);
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 0.001);
  support::HandlerPeer handler("handler");
  handler.Fetch();
  ASSERT_EQ(fake::Timers().size(), 1u);
  EXPECT_DOUBLE_EQ(fake::Timers()[0].interval, 1.25);
}

}  // namespace
