// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The reboot example with an agent that has a journal. A boot ends the agent and the handler and
// changes the files that stand for the device.

#include <Ecore.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <qor/agent.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "application-processes.h"
#include "base/run-until.h"
#include "end-to-end/end-to-end-test.h"
#include "end-to-end/example-copy.h"

namespace qor {
namespace {

namespace fs = std::filesystem;
using end_to_end::kTimeoutSeconds;
using std::chrono::seconds;
using ::testing::HasSubstr;

constexpr char kToVersion2[] = R"({"version":"2.0"})";

class RebootExample : public end_to_end::EndToEndTest {
 protected:
  RebootExample() {
    settings_.journal = Root() + "/journal.db";
    // Commands are delivered again by restarts only.
    settings_.execution_timeout = seconds(600);
    settings_.on_outcome = [this](const Agent::Outcome& outcome) { outcomes_.push_back(outcome); };
    WriteDevice("boot 1", "1.0");
    // A file changes without an event of the main loop.
    ecore_timer_add(
        0.01, [](void*) -> Eina_Bool { return ECORE_CALLBACK_RENEW; }, nullptr);
    InstallWith("#!/bin/sh\necho requested >> " + Root() + "/requests\n");
  }
  ~RebootExample() override { agent_.reset(); }

  // Installs the example with a program that reboots.
  void InstallWith(const std::string& program) {
    const end_to_end::ExampleCopy package(Packages() + "/reboot", Root() + "/package");
    std::ofstream(Root() + "/reboot") << program;
    fs::permissions(Root() + "/reboot", fs::perms::owner_all);
    package.Write("res/reboot.conf", "BOOT_ID=" + Root() + "/boot-id\nOS_RELEASE=" + Root() +
                                         "/os-release\nREBOOT=" + Root() + "/reboot\n");
    ASSERT_EQ(Qor({"package", "install", package.Path()}).exit_status, 0);
    fs::remove_all(package.Path());
  }
  void WriteDevice(const std::string& boot_id, const std::string& version) const {
    std::ofstream(Root() + "/boot-id") << boot_id << '\n';
    std::ofstream(Root() + "/os-release") << "NAME=Example\nVERSION_ID=\"" << version << "\"\n";
  }

  void StartDurableAgent() { agent_.emplace(settings_); }
  void KillHandler() const {
    test::KillAll(Root(), "reboot-handler");
    ASSERT_TRUE(tools::RunUntil([] { return test::IsGone("org.example.reboot.handler"); },
                                kTimeoutSeconds));
  }
  // Ends and starts everything.
  void Boot(const std::string& boot_id, const std::string& version) {
    KillHandler();
    agent_.reset();
    WriteDevice(boot_id, version);
    StartDurableAgent();
  }

  std::string Submit(const std::string& payload = kToVersion2, seconds time_left = seconds(600)) {
    Agent::Command command;
    command.uuid = uuid_;
    command.type = "device.reboot";
    command.payload = payload;
    command.deadline = Agent::WallClock::now() + time_left;
    command.policy = QOR_AGENT_AT_LEAST_ONCE;
    return agent_->Submit(command);
  }
  // Submits a command and waits until the handler has requested the reboot.
  void SubmitAndAwaitRequest() {
    StartDurableAgent();
    Submit();
    ASSERT_TRUE(AwaitRequests(1));
  }

  // How often the handler has requested a reboot.
  std::ptrdiff_t Requests() const {
    std::ifstream file(Root() + "/requests");
    return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
  }
  bool AwaitRequests(std::ptrdiff_t count) const {
    return tools::RunUntil([=] { return Requests() >= count; }, kTimeoutSeconds);
  }
  bool AwaitOutcome() const {
    return tools::RunUntil([this] { return !outcomes_.empty(); }, kTimeoutSeconds);
  }
  // Returns when the handler has received all commands sent before.
  void AwaitDeliveries() {
    Submit("{}");
    ASSERT_TRUE(AwaitOutcome());
    EXPECT_THAT(outcomes_.back().error, HasSubstr("expected {"));
    agent_->Confirm(outcomes_.back().uuid);
    outcomes_.clear();
  }

  Agent::Settings settings_;
  std::optional<Agent> agent_;
  std::vector<Agent::Outcome> outcomes_;
  std::string uuid_;  // of the next command; empty for a random one
};

TEST_F(RebootExample, SucceedsAfterTheBootIntoTheExpectedSystem) {
  SubmitAndAwaitRequest();
  EXPECT_TRUE(outcomes_.empty());
  Boot("boot 2", "2.0");
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_SUCCEEDED);
  EXPECT_EQ(outcomes_[0].result, kToVersion2);
  EXPECT_EQ(Requests(), 1);
}

TEST_F(RebootExample, FailsAfterARollback) {
  SubmitAndAwaitRequest();
  Boot("boot 2", "1.0");
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_FAILED);
  EXPECT_EQ(outcomes_[0].error,
            R"({"ErrorCode":4,"ErrorDescription":"rolled back to 1.0, expected 2.0"})");
}

TEST_F(RebootExample, FailsAfterTheBootIntoAnotherSystem) {
  SubmitAndAwaitRequest();
  Boot("boot 2", "3.0");
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].error, R"({"ErrorCode":5,"ErrorDescription":"booted 3.0, expected 2.0"})");
}

TEST_F(RebootExample, RequestsTheRebootAgainWhenOnlyTheProcessesWereRestarted) {
  SubmitAndAwaitRequest();
  Boot("boot 1", "1.0");
  ASSERT_TRUE(AwaitRequests(2));
  EXPECT_TRUE(outcomes_.empty());
  Boot("boot 2", "2.0");
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_SUCCEEDED);
}

TEST_F(RebootExample, WaitsForTheBootHoweverOftenTheCommandIsDelivered) {
  settings_.window = 2;
  SubmitAndAwaitRequest();
  for (int restart = 0; restart < 2; ++restart) {
    agent_.reset();
    StartDurableAgent();
    ASSERT_NO_FATAL_FAILURE(AwaitDeliveries());
  }
  EXPECT_EQ(Requests(), 1);
  Boot("boot 2", "2.0");
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].result, kToVersion2);
}

TEST_F(RebootExample, AnswersTheSameAfterAnotherBoot) {
  uuid_ = Agent::NewUuid();
  SubmitAndAwaitRequest();
  Boot("boot 2", "2.0");
  ASSERT_TRUE(AwaitOutcome());
  // Agents that do not know the command deliver it again.
  for (int agent = 0; agent < 2; ++agent) {
    settings_.journal = Root() + "/journal-" + std::to_string(agent);
    Boot("boot 3", "1.0");
    outcomes_.clear();
    Submit();
    ASSERT_TRUE(AwaitOutcome());
    EXPECT_EQ(outcomes_[0].result, kToVersion2);
  }
  EXPECT_EQ(Requests(), 1);
}

TEST_F(RebootExample, DoesNotRebootWithoutTime) {
  StartDurableAgent();
  Submit(kToVersion2, seconds(20));
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].error,
            R"({"ErrorCode":2,"ErrorDescription":"there is no time to reboot"})");
  EXPECT_EQ(Requests(), 0);
}

TEST_F(RebootExample, RejectsAnInvalidPayload) {
  StartDurableAgent();
  Submit(R"({"version":2})");
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_THAT(outcomes_[0].error, HasSubstr(R"("ErrorCode":1,)"));
  EXPECT_EQ(Requests(), 0);
}

TEST_F(RebootExample, FailsWhenTheProgramThatRebootsFails) {
  InstallWith("#!/bin/sh\necho requested >> " + Root() + "/requests\nexit 1\n");
  SubmitAndAwaitRequest();
  agent_.reset();
  StartDurableAgent();
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].error,
            R"({"ErrorCode":3,"ErrorDescription":"the program that reboots failed"})");
}

TEST_F(RebootExample, RebootsNothingAsShipped) {
  Install("reboot");
  StartDurableAgent();
  Submit();
  ASSERT_TRUE(AwaitOutcome());
  EXPECT_EQ(outcomes_[0].error,
            R"({"ErrorCode":3,"ErrorDescription":"no program that reboots is configured"})");
}

}  // namespace
}  // namespace qor
