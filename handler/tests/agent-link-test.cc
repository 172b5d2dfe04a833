// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-link.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "agent-port.h"
#include "base/run-until.h"
#include "session.h"

namespace qor::internal {
namespace {

constexpr std::chrono::seconds kTimeoutSeconds{60};

class AgentLinkTest : public testing::Test, protected AgentLink::Receiver {
 protected:
  AgentLinkTest() {
    std::string root = std::filesystem::temp_directory_path() / "qor-agent-link-XXXXXX";
    if (mkdtemp(root.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = root;
    setenv("QOR_PLATFORM_ROOT", root_.c_str(), 1);
    ecore_init();
    port_ = std::make_unique<test::AgentPort>();
  }
  ~AgentLinkTest() override {
    port_.reset();
    ecore_shutdown();
    std::filesystem::remove_all(root_);
  }

  // This process is both agent and handler.
  std::string AgentId() const {
    return "host." + std::filesystem::read_symlink("/proc/self/exe").filename().string();
  }
  bool AwaitRegistration() {
    return tools::RunUntil([this] { return port_->CountReceived() > 0; }, kTimeoutSeconds);
  }
  void OnCommand(ReceivedCommand) override {}
  bool HasCommandsInFlight(const std::string&) const override { return is_working_; }

  bool is_working_ = false;
  std::string root_;
  std::unique_ptr<test::AgentPort> port_;
};

TEST_F(AgentLinkTest, ConnectsAndRegistersOnFetchRequest) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  link.OnFetchRequested();
  EXPECT_TRUE(AwaitRegistration());
  EXPECT_EQ(port_->Connected(), AgentId() + " ");
}

TEST_F(AgentLinkTest, ConnectsOnceOnRepeatedFetchRequests) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  for (int i = 0; i < 3; ++i) link.OnFetchRequested();
  EXPECT_TRUE(AwaitRegistration());
  link.OnFetchRequested();
  EXPECT_EQ(port_->Connected(), AgentId() + " ");
}

TEST_F(AgentLinkTest, ReconnectsWhenRequestedBeforeTheCloseIsDetected) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  link.OnFetchRequested();
  ASSERT_TRUE(AwaitRegistration());
  port_.reset();
  port_ = std::make_unique<test::AgentPort>();
  link.OnFetchRequested();
  EXPECT_TRUE(AwaitRegistration());
}

TEST_F(AgentLinkTest, RetriesUntilTheAgentListens) {
  port_.reset();
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  link.OnFetchRequested();
  port_ = std::make_unique<test::AgentPort>();
  EXPECT_TRUE(AwaitRegistration());
}

TEST_F(AgentLinkTest, ReconnectsWhileACommandIsInFlight) {
  is_working_ = true;
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  link.OnFetchRequested();
  ASSERT_TRUE(AwaitRegistration());
  port_.reset();
  port_ = std::make_unique<test::AgentPort>();
  EXPECT_TRUE(AwaitRegistration());
}

TEST_F(AgentLinkTest, ReconnectsToAPersistentAgent) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kPersistent);
  link.OnFetchRequested();
  ASSERT_TRUE(AwaitRegistration());
  port_.reset();
  port_ = std::make_unique<test::AgentPort>();
  EXPECT_TRUE(AwaitRegistration());
}

TEST_F(AgentLinkTest, ConnectsForAPendingAnswer) {
  port_.reset();
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  link.Send("one", {true, "yes"});
  EXPECT_FALSE(link.RequestExtension("one", 1));
  port_ = std::make_unique<test::AgentPort>();
  EXPECT_TRUE(tools::RunUntil([this] { return !port_->Connected().empty(); }, kTimeoutSeconds));
}

TEST_F(AgentLinkTest, IsIdleWhenClosedWithNothingPending) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kOnDemand);
  link.OnFetchRequested();
  EXPECT_FALSE(link.IsIdle());
  ASSERT_TRUE(AwaitRegistration());
  EXPECT_FALSE(link.IsIdle());
  port_.reset();
  EXPECT_TRUE(tools::RunUntil([&] { return link.IsIdle(); }, kTimeoutSeconds));
  is_working_ = true;
  EXPECT_FALSE(link.IsIdle());
  is_working_ = false;
  link.Send("one", {true, "pending"});
  EXPECT_FALSE(link.IsIdle());
}

TEST_F(AgentLinkTest, SessionRemovesIdleLinks) {
  const Dispatcher::RequestTypes types;
  Session session(types, "", AnswerLimits{}, [] { return std::int64_t{0}; });
  session.OnFetchRequested(AgentId(), AgentLink::Lifetime::kOnDemand);
  ASSERT_TRUE(AwaitRegistration());
  session.OnFetchRequested("host.other", AgentLink::Lifetime::kPersistent);
  EXPECT_EQ(session.CountLinks(), 2U);
  port_.reset();
  EXPECT_TRUE(tools::RunUntil(
      [&] {
        session.OnFetchRequested("host.other", AgentLink::Lifetime::kPersistent);
        return session.CountLinks() == 1;
      },
      kTimeoutSeconds));
}

}  // namespace
}  // namespace qor::internal
