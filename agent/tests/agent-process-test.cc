// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The whole library with installed handlers, over the real main loop.

#include <Ecore.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <qor/agent.h>
#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "base/run-until.h"
#include "end-to-end/end-to-end-test.h"
#include "end-to-end/live-process.h"

namespace {

bool is_out_of_memory = false;

// The function of Ecore with this name, which the agent library finds here first.
template <typename Function>
Function* RealFunction(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" Ecore_Idle_Enterer* ecore_idle_enterer_before_add(Ecore_Task_Cb function,
                                                             const void* data) {
  if (is_out_of_memory) return nullptr;
  return RealFunction<decltype(ecore_idle_enterer_before_add)>("ecore_idle_enterer_before_add")(
      function, data);
}

namespace qor {
namespace {

namespace fs = std::filesystem;
using end_to_end::kTimeoutSeconds;
using std::chrono::seconds;
using ::testing::HasSubstr;

class AgentProcess : public end_to_end::EndToEndTest {
 protected:
  AgentProcess() {
    settings_.journal = Root() + "/journal.db";
    settings_.on_outcome = [this](const Agent::Outcome& outcome) { outcomes_.push_back(outcome); };
    settings_.on_log = [this](const std::string& text) { log_ += text + "\n"; };
  }

  Agent& Open() { return agent_.emplace(settings_); }
  int OpenError() {
    try {
      Open();
      return QOR_AGENT_ERROR_NONE;
    } catch (const AgentError& error) {
      return error.Code();
    }
  }
  static Agent::Command Make(const std::string& type, const std::string& payload = "",
                             seconds time_left = seconds(60)) {
    Agent::Command command;
    command.type = type;
    command.payload = payload;
    command.deadline = Agent::WallClock::now() + time_left;
    return command;
  }
  bool AwaitOutcomes(std::size_t count) const {
    return tools::RunUntil([this, count] { return outcomes_.size() >= count; }, kTimeoutSeconds);
  }

  Agent::Settings settings_;
  std::optional<Agent> agent_;
  std::vector<Agent::Outcome> outcomes_;
  std::string log_;
};

TEST_F(AgentProcess, ReportsTheResultOfAHandler) {
  Install("text");
  Open().Submit(Make("text.upper", "\"hello\""));
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_SUCCEEDED);
  EXPECT_THAT(outcomes_[0].result, HasSubstr("HELLO"));
  EXPECT_EQ(agent_->Pending(), 0U);
}

TEST_F(AgentProcess, WorksWithoutAJournal) {
  Install("text");
  settings_.journal.clear();
  Open().Submit(Make("text.upper", "\"hello\""));
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_THAT(outcomes_[0].result, HasSubstr("HELLO"));
}

TEST_F(AgentProcess, EndsACommandThatNoHandlerServes) {
  Open().Submit(Make("unserved"));
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_NOT_DELIVERED);
  EXPECT_EQ(outcomes_[0].reason, QOR_AGENT_REASON_NO_HANDLER);
}

TEST_F(AgentProcess, WaitsForAHandlerToBeInstalled) {
  auto command = Make("text.upper", "\"later\"");
  command.waits_for_handler = true;
  Open().Submit(command);
  Install("text");
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_THAT(outcomes_[0].result, HasSubstr("LATER"));
}

TEST_F(AgentProcess, EndsACommandThatIsNeverAnsweredAtItsDeadline) {
  Install("text");
  Open().Submit(Make("text.forget", "", seconds(4)));
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_UNKNOWN);
}

TEST_F(AgentProcess, NamesAHandlerThatDoesNotConnect) {
  Install("silent");
  settings_.connection_timeout = std::chrono::milliseconds(500);
  Open().Submit(Make("silence.keep", "", seconds(3)));
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_NOT_DELIVERED);
  EXPECT_EQ(outcomes_[0].reason, QOR_AGENT_REASON_NOT_CONNECTED);
}

TEST_F(AgentProcess, ReportsUnconfirmedOutcomesAgain) {
  Install("text");
  const std::string uuid = Open().Submit(Make("text.upper", "\"hello\""));
  ASSERT_TRUE(AwaitOutcomes(1));
  agent_.reset();
  outcomes_.clear();
  Open();
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_EQ(outcomes_[0].uuid, uuid);
  EXPECT_THAT(outcomes_[0].result, HasSubstr("HELLO"));
  agent_->Confirm(uuid);
  auto again = Make("text.upper", "\"hello\"");
  again.uuid = uuid;
  EXPECT_EQ(agent_->SubmitMany({again}), std::vector<int>{QOR_AGENT_ERROR_ALREADY_KNOWN});
}

TEST_F(AgentProcess, KeepsAConfirmationMadeJustBeforeTheEnd) {
  Install("text");
  settings_.on_outcome = [this](const Agent::Outcome& outcome) {
    outcomes_.push_back(outcome);
    agent_->Confirm(outcome.uuid);
    ecore_main_loop_quit();
  };
  Open().Submit(Make("text.upper", "\"hello\""));
  ecore_main_loop_begin();
  agent_.reset();
  Open().Submit(Make("text.upper", "\"again\""));
  ecore_main_loop_begin();
  ASSERT_EQ(outcomes_.size(), 2U);
  EXPECT_THAT(outcomes_[1].result, HasSubstr("AGAIN"));
}

TEST_F(AgentProcess, IsNotOpenedWhenEcoreIsOutOfMemory) {
  is_out_of_memory = true;
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_OUT_OF_MEMORY);
  is_out_of_memory = false;
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_NONE);
}

TEST_F(AgentProcess, GoesOnWithCommandsOfAKilledProcess) {
  {
    end_to_end::LiveProcess agent({BuildFolder() + "/examples/example-agent-poll",
                                   settings_.journal, "text.upper", "\"kept\""});
    ASSERT_TRUE(agent.AwaitOutput("submitted"));
    agent.Kill();
    agent.AwaitEnd();
  }
  Install("text");
  Open();
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_THAT(outcomes_[0].result, HasSubstr("KEPT"));
}

TEST_F(AgentProcess, IsOneOfItsKindInAProcess) {
  Open();
  EXPECT_THROW(Agent second(settings_), AgentError);
}

TEST_F(AgentProcess, RefusesADamagedJournalUntilToldToReplaceIt) {
  std::ofstream(settings_.journal)
      << "not a journal, but long enough to be one by its length.......";
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_DAMAGED);
  EXPECT_THAT(log_, HasSubstr(settings_.journal));
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_DAMAGED);
  settings_.replace_damaged_journal = true;
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_NONE);
  EXPECT_TRUE(fs::exists(settings_.journal + ".damaged"));
  EXPECT_THAT(log_, HasSubstr("set aside"));
}

TEST_F(AgentProcess, AcceptsNothingOnAFullDisk) {
  Install("text");
  Open();
  rlimit old = {};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  signal(SIGXFSZ, SIG_IGN);
  const auto size = fs::file_size(settings_.journal + "-wal");
  const rlimit full = {static_cast<rlim_t>(size), old.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
  EXPECT_THROW(agent_->Submit(Make("text.upper", "\"lost\"")), AgentError);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
  EXPECT_EQ(agent_->Pending(), 0U);
  agent_->Submit(Make("text.upper", "\"kept\""));
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_THAT(outcomes_[0].result, HasSubstr("KEPT"));
}

TEST_F(AgentProcess, RefusesInvalidCommands) {
  Open();
  const auto error_of = [this](const Agent::Command& command) {
    return agent_->SubmitMany({command}).front();
  };
  auto no_uuid = Make("type");
  EXPECT_EQ(error_of(no_uuid), QOR_AGENT_ERROR_INVALID_PARAMETER);
  auto command = Make("type");
  command.uuid = "1";
  command.type = "";
  EXPECT_EQ(error_of(command), QOR_AGENT_ERROR_INVALID_PARAMETER);
  command.type = std::string(65536, 'a');
  EXPECT_EQ(error_of(command), QOR_AGENT_ERROR_TOO_LONG);
  command.type = "\xC0\xAF";
  EXPECT_EQ(error_of(command), QOR_AGENT_ERROR_INVALID_TEXT);
  command.type = "type";
  command.payload = std::string(QOR_AGENT_MAX_PAYLOAD + 1, ' ');
  EXPECT_EQ(error_of(command), QOR_AGENT_ERROR_TOO_LONG);
  command.payload.clear();
  command.deadline = Agent::WallClock::now() - seconds(1);
  EXPECT_EQ(error_of(command), QOR_AGENT_ERROR_DEADLINE);
  EXPECT_EQ(agent_->Pending(), 0U);
}

// "text.reject" fails whatever the payload is.
TEST_F(AgentProcess, DeliversTheLongestPayload) {
  Install("text");
  const std::string payload = '"' + std::string(QOR_AGENT_MAX_PAYLOAD - 2, 'a') + '"';
  auto command = Make("text.reject", payload);
  command.uuid = std::string(QOR_AGENT_MAX_UUID, 'u');
  Open().Submit(command);
  ASSERT_TRUE(AwaitOutcomes(1));
  EXPECT_EQ(outcomes_[0].kind, QOR_AGENT_FAILED);
  EXPECT_THAT(outcomes_[0].error, HasSubstr("refuses"));
}

TEST_F(AgentProcess, RunsOnAnotherMainLoop) {
  Install("text");
  Open().Submit(Make("text.upper", "\"polled\""));
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::duration<double>(kTimeoutSeconds);
  pollfd waits = {agent_->LoopFd(), POLLIN, 0};
  int steps = 0;
  while (outcomes_.empty() && std::chrono::steady_clock::now() < end) {
    ASSERT_GE(poll(&waits, 1, agent_->LoopTimeoutMs()), 0);
    agent_->LoopStep();
    ++steps;
  }
  ASSERT_EQ(outcomes_.size(), 1U);
  EXPECT_THAT(outcomes_[0].result, HasSubstr("POLLED"));
  // It waits for events, and does not spin.
  EXPECT_LT(steps, 1000);
}

}  // namespace
}  // namespace qor
