// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "dispatcher.h"

#include <Ecore.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include "agent/agent.h"
#include "main-loop.h"

namespace qor::internal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr double kTimeoutSeconds = 60;

class DispatcherTest : public testing::Test, protected AgentSender {
 protected:
  DispatcherTest() {
    ecore_init();
    MainLoop::Get().Open();
  }
  ~DispatcherTest() override {
    kept_.clear();
    MainLoop::Get().Close();
    ecore_shutdown();
  }

  void Deliver(const std::string& uuid, const std::string& type = "type",
               const std::string& agent = "agent") {
    dispatcher_->OnCommand({agent, uuid, type, "payload", 7});
  }
  bool AwaitSent(std::size_t count) {
    return tools::RunUntil([&] { return sent_.size() >= count; }, kTimeoutSeconds);
  }

  void Send(const std::string& agent, const std::string& uuid, Answer answer) override {
    EXPECT_EQ(std::this_thread::get_id(), main_thread_);
    sent_.push_back(agent + " " + uuid + (answer.succeeded ? " + " : " - ") + answer.text);
  }
  bool RequestExtension(const std::string& agent, const std::string& uuid,
                        double seconds) override {
    EXPECT_EQ(std::this_thread::get_id(), main_thread_);
    extension_requests_.push_back(agent + " " + uuid + " " + std::to_string(seconds));
    return grants_extensions_;
  }

  const std::thread::id main_thread_ = std::this_thread::get_id();
  Dispatcher::Functions functions_;
  AnswerStore answers_{"", {}, [] { return std::int64_t{0}; }};
  std::shared_ptr<Dispatcher> dispatcher_ =
      std::make_shared<Dispatcher>(functions_, answers_, static_cast<AgentSender&>(*this));
  std::vector<std::string> sent_;
  std::vector<std::string> extension_requests_;
  bool grants_extensions_ = true;
  // Handles that functions keep.
  std::vector<Command> kept_;
};

TEST_F(DispatcherTest, PassesTheWholeCommandToTheFunction) {
  functions_["type"] = [](const Command& command) {
    EXPECT_EQ(command.Uuid(), "one");
    EXPECT_EQ(command.Type(), "type");
    EXPECT_EQ(command.Payload(), "payload");
    EXPECT_EQ(command.Time(), 7);
    EXPECT_EQ(command.Agent(), "agent");
    command.Succeed("yes");
  };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
}

TEST_F(DispatcherTest, AcceptsTheFirstAnswerOnly) {
  functions_["type"] = [](const Command& command) {
    EXPECT_TRUE(command.Fail("no"));
    EXPECT_FALSE(command.Fail("no"));
    EXPECT_FALSE(command.Succeed("yes"));
  };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre("agent one - no"));
}

TEST_F(DispatcherTest, AcceptsTheFirstAnswerOnlyFromManyThreads) {
  functions_["type"] = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  std::atomic<int> accepted{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back(
        [&accepted, command = kept_[0]] { accepted += command.Succeed("yes") ? 1 : 0; });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(AwaitSent(1));
  EXPECT_EQ(accepted, 1);
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
}

TEST_F(DispatcherTest, FailsDroppedCommand) {
  functions_["type"] = [](const Command&) {};
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(R"(agent one - {"ErrorCode":3003,"ErrorDomain":"QOR-HANDLER",)"
                                 R"("ErrorDescription":"the handler dropped the command"})"));
}

TEST_F(DispatcherTest, FailsCommandDroppedByAThread) {
  functions_["type"] = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  std::thread([command = std::move(kept_[0])] {}).join();
  kept_.clear();
  EXPECT_TRUE(AwaitSent(1));
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("dropped")));
}

TEST_F(DispatcherTest, KeepsCommandInFlightWhileAHandleExists) {
  functions_["type"] = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_TRUE(dispatcher_->HasCommandsInFlight("agent"));
  EXPECT_FALSE(dispatcher_->HasCommandsInFlight("another"));
  kept_.clear();
  EXPECT_EQ(sent_.size(), 1u);
  EXPECT_FALSE(dispatcher_->HasCommandsInFlight("agent"));
}

TEST_F(DispatcherTest, ReportsExceptionAsError) {
  functions_["type"] = [](const Command&) { throw std::runtime_error("no \"way\"\n"); };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(R"(agent one - {"ErrorCode":3001,"ErrorDomain":"QOR-HANDLER",)"
                                 R"("ErrorDescription":"no \"way\"\n"})"));
}

TEST_F(DispatcherTest, ReplacesExceptionTextThatIsNotUtf8) {
  functions_["type"] = [](const Command&) { throw std::runtime_error("\xff\xfe"); };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr(":\"(invalid UTF-8)\"}")));
}

TEST_F(DispatcherTest, ReportsUnknownExceptionAsError) {
  functions_["type"] = [](const Command&) { throw 5; };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr(R"("ErrorCode":3001)")));
}

TEST_F(DispatcherTest, KeepsAnswerGivenBeforeAnException) {
  functions_["type"] = [](const Command& command) {
    command.Succeed("yes");
    throw std::runtime_error("too late");
  };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
}

TEST_F(DispatcherTest, FailsTypeWithoutAFunction) {
  Deliver("one", "unknown");
  EXPECT_THAT(sent_, ElementsAre(R"(agent one - {"ErrorCode":3002,"ErrorDomain":"QOR-HANDLER",)"
                                 R"("ErrorDescription":"no function for request type: unknown"})"));
}

TEST_F(DispatcherTest, IgnoresRedeliveryWhileInFlight) {
  functions_["type"] = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  Deliver("one");
  EXPECT_EQ(kept_.size(), 1u);
  kept_[0].Succeed("yes");
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
}

TEST_F(DispatcherTest, ResendsStoredAnswerOnRedelivery) {
  int runs = 0;
  functions_["type"] = [&runs](const Command& command) {
    command.Fail("no " + std::to_string(++runs));
  };
  Deliver("one");
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre("agent one - no 1", "agent one - no 1"));
}

TEST_F(DispatcherTest, RunsSameUuidOfAnotherAgentOrType) {
  int runs = 0;
  functions_["type"] = functions_["other"] = [&runs](const Command& command) {
    command.Succeed(std::to_string(++runs));
  };
  Deliver("one");
  Deliver("one", "type", "another");
  Deliver("one", "other");
  EXPECT_THAT(sent_, ElementsAre("agent one + 1", "another one + 2", "agent one + 3"));
}

TEST_F(DispatcherTest, AcceptsAnswersFromThreads) {
  std::vector<std::thread> threads;
  functions_["type"] = [&threads](const Command& command) {
    threads.emplace_back([command] { command.Succeed(command.Uuid()); });
  };
  for (int i = 0; i < 20; ++i) Deliver(std::to_string(i));
  EXPECT_TRUE(AwaitSent(20));
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sent_.size(), 20u);
}

TEST_F(DispatcherTest, ReturnsTheReplyToAnExtensionRequest) {
  functions_["type"] = [this](const Command& command) {
    EXPECT_TRUE(command.AskForSeconds(2));
    grants_extensions_ = false;
    EXPECT_FALSE(command.AskForSeconds(3));
    command.Succeed("yes");
    EXPECT_FALSE(command.AskForSeconds(4));
  };
  Deliver("one");
  EXPECT_THAT(extension_requests_, ElementsAre("agent one 2.000000", "agent one 3.000000"));
}

TEST_F(DispatcherTest, RejectsInvalidExtensions) {
  functions_["type"] = [](const Command& command) {
    for (const double seconds : {0.0, -1.0, 0.0 / 0.0, 1 / 0.0}) {
      EXPECT_FALSE(command.AskForSeconds(seconds)) << seconds;
    }
  };
  Deliver("one");
  EXPECT_THAT(extension_requests_, IsEmpty());
}

TEST_F(DispatcherTest, ReturnsTheReplyToAnExtensionRequestOfAThread) {
  std::thread thread;
  functions_["type"] = [&thread](const Command& command) {
    thread = std::thread(
        [command] { command.Succeed(command.AskForSeconds(2) ? "granted" : "denied"); });
  };
  grants_extensions_ = false;
  Deliver("one");
  EXPECT_TRUE(AwaitSent(1));
  thread.join();
  EXPECT_THAT(sent_, ElementsAre("agent one + denied"));
  grants_extensions_ = true;
  Deliver("two");
  EXPECT_TRUE(AwaitSent(2));
  thread.join();
  EXPECT_EQ(sent_[1], "agent two + granted");
}

TEST_F(DispatcherTest, SendsQueuedAnswersOfThreadsWhenTheLoopCloses) {
  functions_["type"] = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  Deliver("two");
  std::thread([this] { EXPECT_TRUE(kept_[0].Succeed("yes")); }).join();
  EXPECT_THAT(sent_, IsEmpty());
  MainLoop::Get().Close();
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
  EXPECT_FALSE(kept_[1].Succeed("too late"));
  std::thread([this] { EXPECT_FALSE(kept_[1].AskForSeconds(1)); }).join();
  EXPECT_EQ(sent_.size(), 1u);
}

TEST_F(DispatcherTest, IgnoresAnswersAfterDestruction) {
  functions_["type"] = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  dispatcher_.reset();
  EXPECT_TRUE(kept_[0].Succeed("ignored"));
  EXPECT_THAT(sent_, IsEmpty());
}

}  // namespace
}  // namespace qor::internal
