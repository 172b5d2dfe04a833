// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-link.h"

#include <gtest/gtest.h>
#include <rpc-port.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <stdexcept>

#include "agent/agent.h"

namespace qor::internal {
namespace {

constexpr double kPatienceSeconds = 60;

// Where handlers connect to, as far as that goes without answering them.
class Port {
 public:
  Port() {
    rpc_port_stub_create(&stub_, wire::kPortName);
    rpc_port_stub_add_connected_event_cb(
        stub_, [](const char*, const char*, void* self) { ++static_cast<Port*>(self)->connected_; },
        this);
    rpc_port_stub_add_received_event_cb(
        stub_,
        [](const char*, const char*, rpc_port_h port, void* self) {
          wire::Take(port);
          ++static_cast<Port*>(self)->registered_;
          return 0;
        },
        this);
    EXPECT_EQ(rpc_port_stub_listen(stub_), RPC_PORT_ERROR_NONE);
  }
  Port(const Port&) = delete;
  Port& operator=(const Port&) = delete;
  ~Port() { rpc_port_stub_destroy(stub_); }

  int Connected() const { return connected_; }
  bool AwaitRegistration() {
    return tools::RunUntil([this] { return registered_ > 0; }, kPatienceSeconds);
  }

 private:
  rpc_port_stub_h stub_ = nullptr;
  int connected_ = 0;
  int registered_ = 0;
};

class AgentLinkTest : public testing::Test, protected AgentLink::Receiver {
 protected:
  AgentLinkTest() {
    std::string root = std::filesystem::temp_directory_path() / "qor-agent-link-XXXXXX";
    if (mkdtemp(root.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = root;
    setenv("QOR_PLATFORM_ROOT", root_.c_str(), 1);
    ecore_init();
    port_ = std::make_unique<Port>();
  }
  ~AgentLinkTest() override {
    port_.reset();
    ecore_shutdown();
    std::filesystem::remove_all(root_);
  }

  // This process plays both sides.
  std::string AgentId() const {
    return "host." + std::filesystem::read_symlink("/proc/self/exe").filename().string();
  }
  void OnCommand(ReceivedCommand) override {}
  bool IsWorkingFor(const std::string&) const override { return is_working_; }

  bool is_working_ = false;
  std::string root_;
  std::unique_ptr<Port> port_;
};

TEST_F(AgentLinkTest, ConnectsAndRegistersWhenItIsWanted) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kWhileNeeded);
  link.OnWanted();
  EXPECT_TRUE(port_->AwaitRegistration());
  EXPECT_EQ(port_->Connected(), 1);
}

TEST_F(AgentLinkTest, ConnectsOnceHoweverOftenItIsWanted) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kWhileNeeded);
  for (int i = 0; i < 3; ++i) link.OnWanted();
  EXPECT_TRUE(port_->AwaitRegistration());
  link.OnWanted();
  EXPECT_EQ(port_->Connected(), 1);
}

TEST_F(AgentLinkTest, ConnectsAgainWhenItWasWantedBeforeTheEndWasHeardOf) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kWhileNeeded);
  link.OnWanted();
  ASSERT_TRUE(port_->AwaitRegistration());
  port_.reset();
  port_ = std::make_unique<Port>();
  link.OnWanted();
  EXPECT_TRUE(port_->AwaitRegistration());
}

TEST_F(AgentLinkTest, TriesAgainWhenTheAgentIsNotThereYet) {
  port_.reset();
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kWhileNeeded);
  link.OnWanted();
  port_ = std::make_unique<Port>();
  EXPECT_TRUE(port_->AwaitRegistration());
}

TEST_F(AgentLinkTest, ConnectsAgainByItselfWhileSomethingIsInWork) {
  is_working_ = true;
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kWhileNeeded);
  link.OnWanted();
  ASSERT_TRUE(port_->AwaitRegistration());
  port_.reset();
  port_ = std::make_unique<Port>();
  EXPECT_TRUE(port_->AwaitRegistration());
}

TEST_F(AgentLinkTest, ConnectsAgainByItselfToAnAgentThatWasNamed) {
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kAlways);
  link.OnWanted();
  ASSERT_TRUE(port_->AwaitRegistration());
  port_.reset();
  port_ = std::make_unique<Port>();
  EXPECT_TRUE(port_->AwaitRegistration());
}

TEST_F(AgentLinkTest, ConnectsForAnAnswerThatWaits) {
  port_.reset();
  AgentLink link(AgentId(), *this, 10, AgentLink::Lifetime::kWhileNeeded);
  link.Send("one", {true, "yes"});
  EXPECT_FALSE(link.AskForSeconds("one", 1));
  port_ = std::make_unique<Port>();
  EXPECT_TRUE(tools::RunUntil([this] { return port_->Connected() > 0; }, kPatienceSeconds));
}

}  // namespace
}  // namespace qor::internal
