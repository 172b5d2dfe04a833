// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "dispatcher.h"

#include <Ecore.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/run-until.h"
#include "main-loop.h"

namespace qor::internal {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::chrono::seconds kTimeoutSeconds{60};

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
  Dispatcher::RequestTypes types_;
  CommandStore store_{"", {}, [] { return std::int64_t{0}; }};
  std::shared_ptr<Dispatcher> dispatcher_ =
      std::make_shared<Dispatcher>(types_, store_, static_cast<AgentSender&>(*this));
  std::vector<std::string> sent_;
  std::vector<std::string> extension_requests_;
  bool grants_extensions_ = true;
  // Handles that functions keep.
  std::vector<Command> kept_;
};

TEST_F(DispatcherTest, PassesTheWholeCommandToTheFunction) {
  types_["type"].run = [](const Command& command) {
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
  types_["type"].run = [](const Command& command) {
    EXPECT_TRUE(command.Fail("no"));
    EXPECT_FALSE(command.Fail("no"));
    EXPECT_FALSE(command.Succeed("yes"));
  };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre("agent one - no"));
}

TEST_F(DispatcherTest, AcceptsTheFirstAnswerOnlyFromManyThreads) {
  types_["type"].run = [this](const Command& command) { kept_.push_back(command); };
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
  types_["type"].run = [](const Command&) {};
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(R"(agent one - {"ErrorCode":3003,"ErrorDomain":"QOR-HANDLER",)"
                                 R"("ErrorDescription":"the handler dropped the command"})"));
}

TEST_F(DispatcherTest, FailsCommandDroppedByAThread) {
  types_["type"].run = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  std::thread([command = std::move(kept_[0])] {}).join();
  kept_.clear();
  EXPECT_TRUE(AwaitSent(1));
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("dropped")));
}

TEST_F(DispatcherTest, KeepsCommandInFlightWhileAHandleExists) {
  types_["type"].run = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_TRUE(dispatcher_->HasCommandsInFlight("agent"));
  EXPECT_FALSE(dispatcher_->HasCommandsInFlight("another"));
  kept_.clear();
  EXPECT_EQ(sent_.size(), 1u);
  EXPECT_FALSE(dispatcher_->HasCommandsInFlight("agent"));
}

TEST_F(DispatcherTest, ReportsExceptionAsError) {
  types_["type"].run = [](const Command&) { throw std::runtime_error("no \"way\"\n"); };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(R"(agent one - {"ErrorCode":3001,"ErrorDomain":"QOR-HANDLER",)"
                                 R"("ErrorDescription":"no \"way\"\n"})"));
}

TEST_F(DispatcherTest, ReplacesExceptionTextThatIsNotUtf8) {
  types_["type"].run = [](const Command&) { throw std::runtime_error("\xff\xfe"); };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr(":\"(invalid UTF-8)\"}")));
}

TEST_F(DispatcherTest, ReportsUnknownExceptionAsError) {
  types_["type"].run = [](const Command&) { throw 5; };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr(R"("ErrorCode":3001)")));
}

TEST_F(DispatcherTest, KeepsAnswerGivenBeforeAnException) {
  types_["type"].run = [](const Command& command) {
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
  types_["type"].run = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  Deliver("one");
  EXPECT_EQ(kept_.size(), 1u);
  kept_[0].Succeed("yes");
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
}

TEST_F(DispatcherTest, ResendsStoredAnswerOnRedelivery) {
  int runs = 0;
  types_["type"].run = [&runs](const Command& command) {
    command.Fail("no " + std::to_string(++runs));
  };
  Deliver("one");
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre("agent one - no 1", "agent one - no 1"));
}

TEST_F(DispatcherTest, RunsSameUuidOfAnotherAgentOrType) {
  int runs = 0;
  types_["type"].run = types_["other"].run = [&runs](const Command& command) {
    command.Succeed(std::to_string(++runs));
  };
  Deliver("one");
  Deliver("one", "type", "another");
  Deliver("one", "other");
  EXPECT_THAT(sent_, ElementsAre("agent one + 1", "another one + 2", "agent one + 3"));
}

TEST_F(DispatcherTest, AcceptsAnswersFromThreads) {
  std::vector<std::thread> threads;
  types_["type"].run = [&threads](const Command& command) {
    threads.emplace_back([command] { command.Succeed(command.Uuid()); });
  };
  for (int i = 0; i < 20; ++i) Deliver(std::to_string(i));
  EXPECT_TRUE(AwaitSent(20));
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(sent_.size(), 20u);
}

TEST_F(DispatcherTest, ReturnsTheReplyToAnExtensionRequest) {
  types_["type"].run = [this](const Command& command) {
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
  types_["type"].run = [](const Command& command) {
    for (const double seconds : {0.0, -1.0, 0.0 / 0.0, 1 / 0.0}) {
      EXPECT_FALSE(command.AskForSeconds(seconds)) << seconds;
    }
  };
  Deliver("one");
  EXPECT_THAT(extension_requests_, IsEmpty());
}

TEST_F(DispatcherTest, ReturnsTheReplyToAnExtensionRequestOfAThread) {
  std::thread thread;
  types_["type"].run = [&thread](const Command& command) {
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
  types_["type"].run = [this](const Command& command) { kept_.push_back(command); };
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
  types_["type"].run = [this](const Command& command) { kept_.push_back(command); };
  Deliver("one");
  dispatcher_.reset();
  EXPECT_TRUE(kept_[0].Succeed("ignored"));
  EXPECT_THAT(sent_, IsEmpty());
}

// With a file, which a new dispatcher finds as a restarted process does.
class DispatcherRestartTest : public DispatcherTest {
 protected:
  DispatcherRestartTest() {
    std::string folder = fs::temp_directory_path() / "qor-dispatcher-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    folder_ = folder;
    types_["once"].policy = Policy::kAtMostOnce;
    types_["once"].run = types_["type"].run = [this](const Command& command) { Keep(command); };
    Restart();
  }
  ~DispatcherRestartTest() override {
    End();
    fs::remove_all(folder_);
  }

  // The commands in flight are lost with the process.
  void Restart() {
    End();
    sent_.clear();
    file_.emplace(folder_ + "/answers.db", limits_, [this] { return now_; });
    dispatcher_ = std::make_shared<Dispatcher>(types_, *file_, static_cast<AgentSender&>(*this));
  }
  void End() {
    MainLoop::Get().Close();
    kept_.clear();
    dispatcher_.reset();
    file_.reset();
    MainLoop::Get().Open();
  }
  void Keep(const Command& command) {
    ran_.push_back(command.Uuid());
    kept_.push_back(command);
  }

  AnswerLimits limits_;
  std::int64_t now_ = 1'000'000;
  std::string folder_;
  std::optional<CommandStore> file_;
  std::vector<std::string> ran_;
};

TEST_F(DispatcherRestartTest, RunsAtLeastOnceCommandAgain) {
  Deliver("one");
  Restart();
  Deliver("one");
  EXPECT_THAT(ran_, ElementsAre("one", "one"));
}

TEST_F(DispatcherRestartTest, FailsInterruptedAtMostOnceCommand) {
  Deliver("one", "once");
  Restart();
  Deliver("one", "once");
  EXPECT_THAT(ran_, ElementsAre("one"));
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3004")));
  Restart();
  Deliver("one", "once");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3004")));
}

TEST_F(DispatcherRestartTest, SendsAnswerOfAtMostOnceCommandAgain) {
  Deliver("one", "once");
  kept_[0].Succeed("yes");
  Restart();
  Deliver("one", "once");
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
  EXPECT_THAT(ran_, ElementsAre("one"));
}

TEST_F(DispatcherRestartTest, RunsNoAtMostOnceCommandThatCannotBeRecorded) {
  limits_.count = 0;
  Restart();
  Deliver("one", "once");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3007")));
  EXPECT_THAT(ran_, IsEmpty());
}

TEST_F(DispatcherRestartTest, RejectsAtMostOnceCommandsBeyondTheCount) {
  limits_.count = 2;
  Restart();
  for (const char* uuid : {"one", "two", "three"}) {
    Deliver(uuid, "once");
    if (!kept_.empty()) kept_.back().Succeed("yes");
  }
  EXPECT_THAT(ran_, ElementsAre("one", "two"));
  EXPECT_THAT(sent_, ElementsAre("agent one + yes", "agent two + yes", HasSubstr("3007")));
  // Those that are old enough make room.
  now_ += 3601;
  Deliver("four", "once");
  EXPECT_THAT(ran_, ElementsAre("one", "two", "four"));
}

TEST_F(DispatcherRestartTest, ResumesCommandBeyondTheCount) {
  types_["once"].resume = types_["once"].run;
  limits_.count = 2;
  Restart();
  for (const char* uuid : {"one", "two"}) Deliver(uuid, "once");
  EXPECT_TRUE(kept_[0].Suspend("state"));
  Deliver("one", "once");
  EXPECT_THAT(ran_, ElementsAre("one", "two", "one"));
}

TEST_F(DispatcherRestartTest, KeepsTheFailureOfASuspendedCommandThatCannotBeRecorded) {
  types_["once"].resume = types_["once"].run;
  Deliver("one", "once");
  EXPECT_TRUE(kept_[0].Suspend("state"));
  {
    sqlite::Database other(folder_ + "/answers.db", sqlite::Database::Mode::kExisting);
    const sqlite::Transaction lock(other);
    Deliver("one", "once");
  }
  Deliver("one", "once");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3007"), HasSubstr("3007")));
  EXPECT_THAT(ran_, ElementsAre("one"));
}

TEST_F(DispatcherRestartTest, FailsCommandAfterThreeCrashes) {
  for (int i = 0; i < 4; ++i) {
    Deliver("one");
    if (i < 3) Restart();
  }
  EXPECT_THAT(ran_, ElementsAre("one", "one", "one"));
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3005")));
}

TEST_F(DispatcherRestartTest, DoesNotCountRunsThatEndWithAnOrderlyExit) {
  for (int i = 0; i < 5; ++i) {
    Deliver("one");
    Deliver("two", "once");
    dispatcher_->Stop();
    Restart();
  }
  EXPECT_THAT(ran_, ElementsAre("one", "two", "one", "one", "one", "one"));
}

TEST_F(DispatcherRestartTest, CountsTheCrashesOfACommandThatWaitedAtAnOrderlyExit) {
  Deliver("one");
  Deliver("two");
  Restart();
  Deliver("one");
  Deliver("two");
  dispatcher_->Stop();
  Restart();
  EXPECT_EQ(file_->Find(CommandKey({"agent", "one", "type", "payload", 7})).unfinished_runs, 1);
  EXPECT_EQ(file_->Find(CommandKey({"agent", "two", "type", "payload", 7})).unfinished_runs, 1);
}

TEST_F(DispatcherRestartTest, RunsCommandsOfACrashOneAtATime) {
  Deliver("one");
  Deliver("two");
  Restart();
  ran_.clear();
  Deliver("one");
  Deliver("two");
  Deliver("new");
  EXPECT_THAT(ran_, ElementsAre("one", "new"));
  kept_[0].Succeed("yes");
  EXPECT_THAT(ran_, ElementsAre("one", "new", "two"));
  kept_[2].Succeed("yes");
  EXPECT_THAT(sent_, ElementsAre("agent one + yes", "agent two + yes"));
}

TEST_F(DispatcherRestartTest, CommandsThatWaitForACrashedOneAreNotCounted) {
  Deliver("bad");
  Deliver("good");
  for (int i = 0; i < 3; ++i) {
    Restart();
    Deliver("bad");
    Deliver("good");
  }
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("bad - ")));
  EXPECT_EQ(ran_.back(), "good");
}

TEST_F(DispatcherRestartTest, ResumesSuspendedCommandWithItsState) {
  for (const char* type : {"once", "type"}) {
    types_[type].resume = [](const Command& command) { command.Succeed(command.State()); };
    types_[type].run = [](const Command& command) {
      EXPECT_EQ(command.State(), "");
      EXPECT_TRUE(command.Suspend("half way"));
      EXPECT_FALSE(command.Succeed("too late"));
    };
    Restart();
    Deliver("one", type);
    EXPECT_THAT(sent_, IsEmpty());
    EXPECT_FALSE(dispatcher_->HasCommandsInFlight("agent"));
    Restart();
    Deliver("one", type);
    EXPECT_THAT(sent_, ElementsAre("agent one + half way"));
    Restart();
    Deliver("one", type);
    EXPECT_THAT(sent_, ElementsAre("agent one + half way"));
  }
}

TEST_F(DispatcherRestartTest, ResumesInTheSameProcess) {
  types_["once"].resume = [](const Command& command) { command.Succeed(command.State()); };
  Deliver("one", "once");
  EXPECT_TRUE(kept_[0].Suspend("half way"));
  Deliver("one", "once");
  EXPECT_THAT(sent_, ElementsAre("agent one + half way"));
}

TEST_F(DispatcherRestartTest, FailsSuspendedAtMostOnceCommandWithoutAFunctionToResume) {
  Deliver("one", "once");
  EXPECT_TRUE(kept_[0].Suspend("half way"));
  Restart();
  Deliver("one", "once");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3004")));
}

TEST_F(DispatcherTest, DoesNotSuspendWithoutAFile) {
  types_["type"].run = [this](const Command& command) {
    EXPECT_FALSE(command.Suspend("state"));
    kept_.push_back(command);
  };
  Deliver("one");
  EXPECT_TRUE(kept_[0].Succeed("yes"));
  EXPECT_FALSE(kept_[0].Suspend("state"));
  EXPECT_THAT(sent_, ElementsAre("agent one + yes"));
}

TEST_F(DispatcherTest, FailsCommandWithAnAnswerThatIsTooLong) {
  types_["type"].run = [](const Command& command) {
    EXPECT_FALSE(command.Succeed(std::string(4'000'001, ' ')));
  };
  Deliver("one");
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("3006")));
  types_["type"].run = [](const Command& command) {
    EXPECT_TRUE(command.Succeed(std::string(4'000'000, ' ')));
  };
  Deliver("two");
  EXPECT_EQ(sent_.back().size(), 4'000'000 + std::string("agent two + ").size());
}

}  // namespace
}  // namespace qor::internal
