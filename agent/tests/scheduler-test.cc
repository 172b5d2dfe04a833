// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "scheduler.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/timeout-errors.h"
#include "error.h"

namespace qor::agent {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FakeClock final : public Clock {
 public:
  WallMs Wall() const override { return wall; }
  BootMs SinceBoot() const override { return boot; }
  std::string BootId() const override { return "boot"; }
  void Advance(std::int64_t milliseconds) {
    wall += milliseconds;
    boot += milliseconds;
  }

  WallMs wall = 1'000'000;
  BootMs boot = 5'000;
};

class FakeRouter final : public Router {
 public:
  int Send(const Command& command) override {
    sent.push_back(command.uuid);
    if (on_send) on_send(command);
    return result;
  }
  std::vector<std::vector<std::string>> RequestTypesOfHandlers() const override { return handlers; }

  std::vector<std::string> sent;
  int result = QOR_HANDLER_MANAGER_ERROR_NONE;
  std::function<void(const Command&)> on_send;
  std::vector<std::vector<std::string>> handlers = {{"a"}, {"b"}};
};

// Keeps what was written as a journal would.
class FakeStore final : public Store {
 public:
  void Write(const std::vector<const Command*>& changed,
             const std::vector<std::int64_t>& erased) override {
    if (error) throw Error(*error, "the store fails");
    ++writes;
    for (const std::int64_t sequence : erased) rows.erase(sequence);
    for (const Command* command : changed) rows[command->sequence] = *command;
  }
  State StateOf(const std::string& uuid) const {
    for (const auto& [sequence, command] : rows)
      if (command.uuid == uuid) return command.state;
    throw std::out_of_range(uuid);
  }

  std::map<std::int64_t, Command> rows;
  int writes = 0;
  std::optional<qor_agent_error_e> error;
};

class SchedulerTest : public ::testing::Test {
 protected:
  SchedulerTest() { Start(); }

  // Also a restart: what the store has is restored.
  void Start() {
    scheduler_.reset();
    reported_.clear();
    router_.sent.clear();
    Scheduler::Observer observer;
    observer.on_outcome = [this](const Command& command) {
      reported_.push_back(command);
      if (on_outcome_) on_outcome_(command);
    };
    observer.on_extension = on_extension_;
    observer.on_log = [this](const std::string& text) { log_.push_back(text); };
    scheduler_.emplace(limits_, clock_, router_, &store_, observer);
    for (const auto& [sequence, command] : store_.rows) scheduler_->Restore(command);
    scheduler_->OnHandlersChanged();
  }

  Command Make(const std::string& uuid, const std::string& type = "a") const {
    Command command;
    command.uuid = uuid;
    command.type = type;
    command.payload = "{}";
    command.deadline_wall = clock_.wall + 60'000;
    return command;
  }
  Command AtLeastOnce(const std::string& uuid, const std::string& type = "a") const {
    Command command = Make(uuid, type);
    command.policy = QOR_AGENT_AT_LEAST_ONCE;
    return command;
  }
  int Submit(Command command) { return scheduler_->Submit({std::move(command)}).front(); }
  void Answer(const std::string& uuid, const std::string& result = "done") {
    scheduler_->OnResponse(uuid, QOR_REQUEST_STATUS_SUCCESS, result, "");
    scheduler_->Run();
  }
  void TimeOut(const std::string& uuid, const char* error) {
    scheduler_->OnResponse(uuid, QOR_REQUEST_STATUS_FAILED, "", error);
    scheduler_->Run();
  }
  void Advance(std::int64_t milliseconds) {
    clock_.Advance(milliseconds);
    scheduler_->Run();
  }

  Scheduler::Limits limits_;
  FakeClock clock_;
  FakeRouter router_;
  FakeStore store_;
  std::vector<Command> reported_;
  std::vector<std::string> log_;
  std::function<void(const Command&)> on_outcome_;
  std::function<bool(const std::string&, const std::string&, double)> on_extension_;
  std::optional<Scheduler> scheduler_;
};

TEST_F(SchedulerTest, AcceptedCommandsAreStoredBeforeSubmitReturns) {
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_NONE);
  EXPECT_EQ(store_.StateOf("1"), State::kHeld);
  EXPECT_THAT(router_.sent, IsEmpty());
}

TEST_F(SchedulerTest, MarksACommandAsSentBeforeSending) {
  Submit(Make("1"));
  router_.on_send = [this](const Command&) { EXPECT_EQ(store_.StateOf("1"), State::kSent); };
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1"));
}

TEST_F(SchedulerTest, StoresAnOutcomeBeforeReportingIt) {
  Submit(Make("1"));
  scheduler_->Run();
  on_outcome_ = [this](const Command&) { EXPECT_EQ(store_.StateOf("1"), State::kEnded); };
  Answer("1");
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_SUCCEEDED);
  EXPECT_EQ(reported_[0].outcome.result, "done");
  EXPECT_FALSE(reported_[0].outcome.is_amendment);
}

TEST_F(SchedulerTest, ReportsTheHandlersErrorAndStatus) {
  Submit(Make("1"));
  scheduler_->Run();
  scheduler_->OnResponse("1", 7, "", "broken");
  scheduler_->Run();
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_FAILED);
  EXPECT_EQ(reported_[0].outcome.status, 7);
  EXPECT_EQ(reported_[0].outcome.error, "broken");
}

TEST_F(SchedulerTest, TellsKnownAndConflictingUuidsApart) {
  Submit(Make("1"));
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_ALREADY_KNOWN);
  EXPECT_EQ(Submit(Make("1", "b")), QOR_AGENT_ERROR_CONFLICT);
  Command other = Make("1");
  other.payload = "[]";
  EXPECT_EQ(Submit(other), QOR_AGENT_ERROR_CONFLICT);
}

TEST_F(SchedulerTest, RejectsADuplicateWithinOneSubmission) {
  EXPECT_THAT(scheduler_->Submit({Make("1"), Make("1"), Make("2")}),
              ElementsAre(0, QOR_AGENT_ERROR_ALREADY_KNOWN, 0));
  EXPECT_EQ(store_.writes, 1);
}

TEST_F(SchedulerTest, RejectsADeadlineInThePast) {
  Command command = Make("1");
  command.deadline_wall = clock_.wall;
  EXPECT_EQ(Submit(command), QOR_AGENT_ERROR_DEADLINE);
}

TEST_F(SchedulerTest, RejectsWhatIsOverTheLimits) {
  limits_.max_commands = 1;
  Start();
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_NONE);
  EXPECT_EQ(Submit(Make("2")), QOR_AGENT_ERROR_LIMIT);
  limits_.max_commands = 10;
  limits_.max_bytes = 10;
  Start();
  Command large = Make("3");
  large.payload = std::string(11, ' ');
  EXPECT_EQ(Submit(large), QOR_AGENT_ERROR_LIMIT);
}

TEST_F(SchedulerTest, WritesConfirmationsAtTheEnd) {
  on_outcome_ = [this](const Command& command) { scheduler_->Confirm(command.uuid); };
  Submit(Make("1"));
  scheduler_->Run();
  Answer("1");
  scheduler_->Flush();
  EXPECT_EQ(store_.StateOf("1"), State::kConfirmed);
}

TEST_F(SchedulerTest, DoesNotTakeACommandForSentAtTheEndWhenAWriteFailed) {
  Submit(Make("1"));
  store_.error = QOR_AGENT_ERROR_NO_SPACE;
  scheduler_->Run();
  store_.error.reset();
  scheduler_->Flush();
  EXPECT_EQ(store_.StateOf("1"), State::kHeld);
  EXPECT_THAT(router_.sent, IsEmpty());
}

TEST_F(SchedulerTest, AcceptsNothingWhenTheStoreFails) {
  store_.error = QOR_AGENT_ERROR_NO_SPACE;
  EXPECT_THAT(scheduler_->Submit({Make("1"), Make("2")}),
              ElementsAre(QOR_AGENT_ERROR_NO_SPACE, QOR_AGENT_ERROR_NO_SPACE));
  EXPECT_EQ(scheduler_->Pending(), 0U);
  store_.error.reset();
  scheduler_->Run();
  EXPECT_THAT(router_.sent, IsEmpty());
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_NONE);
}

TEST_F(SchedulerTest, KeepsOneCommandInFlightAtAHandler) {
  for (const char* uuid : {"1", "2", "3"}) Submit(Make(uuid));
  Submit(Make("4", "b"));
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1", "4"));
  Answer("1");
  EXPECT_THAT(router_.sent, ElementsAre("1", "4", "2"));
}

TEST_F(SchedulerTest, CountsTypesWithACommonHandlerAsOneHandler) {
  router_.handlers = {{"a", "b"}, {"b", "c"}};
  Start();
  Submit(Make("1", "a"));
  Submit(Make("2", "c"));
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1"));
  Answer("1");
  EXPECT_THAT(router_.sent, ElementsAre("1", "2"));
}

TEST_F(SchedulerTest, FollowsInstallsWithCommandsInFlight) {
  Submit(Make("1", "a"));
  scheduler_->Run();
  router_.handlers = {{"a", "b"}};
  scheduler_->OnHandlersChanged();
  Submit(Make("2", "b"));
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1"));
  Answer("1");
  EXPECT_THAT(router_.sent, ElementsAre("1", "2"));
}

TEST_F(SchedulerTest, SendsAsManyAsTheWindowHolds) {
  limits_.window = 2;
  Start();
  for (const char* uuid : {"1", "2", "3"}) Submit(Make(uuid));
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1", "2"));
}

TEST_F(SchedulerTest, EndsACommandWithoutAHandlerAtOnce) {
  Submit(Make("1", "unserved"));
  scheduler_->Run();
  EXPECT_THAT(router_.sent, IsEmpty());
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_NOT_DELIVERED);
  EXPECT_EQ(reported_[0].outcome.reason, QOR_AGENT_REASON_NO_HANDLER);
}

TEST_F(SchedulerTest, WaitsForAHandlerWhenAsked) {
  Command command = Make("1", "later");
  command.waits_for_handler = true;
  Submit(command);
  scheduler_->Run();
  EXPECT_THAT(router_.sent, IsEmpty());
  EXPECT_EQ(scheduler_->NextRun(), clock_.boot + 60'000);
  router_.handlers.push_back({"later"});
  scheduler_->OnHandlersChanged();
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1"));
  Answer("1");
  EXPECT_EQ(reported_.at(0).outcome.kind, QOR_AGENT_SUCCEEDED);
}

TEST_F(SchedulerTest, EndsHeldCommandsWhenTheirHandlerIsUninstalled) {
  for (const char* uuid : {"1", "2"}) Submit(Make(uuid));
  Submit(AtLeastOnce("again", "b"));
  scheduler_->Run();
  TimeOut("again", common::kExecutionTimeoutError);
  router_.handlers.clear();
  scheduler_->OnHandlersChanged();
  scheduler_->Run();
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].uuid, "2");
  EXPECT_EQ(reported_[0].outcome.reason, QOR_AGENT_REASON_NO_HANDLER);
  // The others may have been delivered.
  Advance(60'000);
  ASSERT_EQ(reported_.size(), 3U);
  EXPECT_EQ(reported_[1].outcome.kind, QOR_AGENT_UNKNOWN);
  EXPECT_EQ(reported_[2].outcome.kind, QOR_AGENT_UNKNOWN);
}

// The library has removed the handler, and the agent is yet to be notified.
TEST_F(SchedulerTest, RetriesWhenTheLibraryKnowsNoHandler) {
  router_.result = QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND;
  Submit(Make("1"));
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1"));
  router_.handlers.clear();
  scheduler_->OnHandlersChanged();
  scheduler_->Run();
  EXPECT_EQ(reported_.at(0).outcome.reason, QOR_AGENT_REASON_NO_HANDLER);
}

TEST_F(SchedulerTest, RetriesALaunchThatFailedWithBackoff) {
  router_.result = QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL;
  Submit(Make("1"));
  scheduler_->Run();
  Advance(999);
  EXPECT_EQ(router_.sent.size(), 1U);
  Advance(1);
  EXPECT_EQ(router_.sent.size(), 2U);
  Advance(1999);
  EXPECT_EQ(router_.sent.size(), 2U);
  Advance(1);
  EXPECT_EQ(router_.sent.size(), 3U);
  Advance(60'000);
  scheduler_->Run();
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_NOT_DELIVERED);
  EXPECT_EQ(reported_[0].outcome.reason, QOR_AGENT_REASON_LAUNCH_FAILED);
}

TEST_F(SchedulerTest, RetriesAfterAConnectionTimeoutWhateverThePolicy) {
  Submit(Make("1"));
  scheduler_->Run();
  TimeOut("1", common::kConnectionTimeoutError);
  EXPECT_EQ(store_.StateOf("1"), State::kHeld);
  Advance(1000);
  EXPECT_THAT(router_.sent, ElementsAre("1", "1"));
  Answer("1");
  EXPECT_EQ(reported_.at(0).outcome.kind, QOR_AGENT_SUCCEEDED);
}

// Another attempt would be in flight at the deadline.
TEST_F(SchedulerTest, EndsAsNotConnectedWhenTheDeadlineLeavesNoTimeToConnect) {
  limits_.connection_ms = 20'000;
  Start();
  Submit(Make("1"));
  scheduler_->Run();
  Advance(20'000);
  TimeOut("1", common::kConnectionTimeoutError);
  Advance(1'000);
  EXPECT_EQ(router_.sent.size(), 2U);
  Advance(20'000);
  TimeOut("1", common::kConnectionTimeoutError);
  Submit(Make("2"));
  Advance(2'000);
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1", "1", "2"));
  EXPECT_THAT(reported_, IsEmpty());
  Advance(17'000);
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].uuid, "1");
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_NOT_DELIVERED);
  EXPECT_EQ(reported_[0].outcome.reason, QOR_AGENT_REASON_NOT_CONNECTED);
}

TEST_F(SchedulerTest, WaitsForALateAnswerWhenAtMostOnce) {
  Submit(Make("1"));
  Submit(Make("2"));
  scheduler_->Run();
  TimeOut("1", common::kExecutionTimeoutError);
  // Its place is free.
  EXPECT_THAT(router_.sent, ElementsAre("1", "2"));
  Advance(30'000);
  Answer("1");
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_SUCCEEDED);
  EXPECT_FALSE(reported_[0].outcome.is_amendment);
}

TEST_F(SchedulerTest, SendsAgainAfterAnExecutionTimeoutWhenAtLeastOnce) {
  Submit(AtLeastOnce("1"));
  scheduler_->Run();
  TimeOut("1", common::kExecutionTimeoutError);
  Advance(1000);
  EXPECT_THAT(router_.sent, ElementsAre("1", "1"));
  // The first attempt may have been delivered, whatever becomes of the second.
  TimeOut("1", common::kConnectionTimeoutError);
  Advance(60'000);
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_UNKNOWN);
}

TEST_F(SchedulerTest, AcceptsALateAnswerBeforeTheRetry) {
  Submit(AtLeastOnce("1"));
  scheduler_->Run();
  TimeOut("1", common::kExecutionTimeoutError);
  Answer("1");
  Advance(10'000);
  EXPECT_THAT(router_.sent, ElementsAre("1"));
  EXPECT_EQ(reported_.at(0).outcome.kind, QOR_AGENT_SUCCEEDED);
}

TEST_F(SchedulerTest, EndsAsUnknownAtTheDeadlineAndAmendsOnce) {
  Submit(Make("1"));
  scheduler_->Run();
  Advance(60'000);
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_UNKNOWN);
  EXPECT_EQ(scheduler_->Confirm("1"), QOR_AGENT_ERROR_NONE);
  Answer("1", "late");
  Answer("1", "later");
  ASSERT_EQ(reported_.size(), 2U);
  EXPECT_EQ(reported_[1].outcome.kind, QOR_AGENT_SUCCEEDED);
  EXPECT_EQ(reported_[1].outcome.result, "late");
  EXPECT_TRUE(reported_[1].outcome.is_amendment);
}

TEST_F(SchedulerTest, AnAnswerBeforeTheReportOfUnknownIsTheOutcome) {
  Submit(Make("1"));
  scheduler_->Run();
  store_.error = QOR_AGENT_ERROR_NO_SPACE;
  Advance(60'000);
  EXPECT_THAT(reported_, IsEmpty());
  scheduler_->OnResponse("1", QOR_REQUEST_STATUS_SUCCESS, "late", "");
  store_.error.reset();
  Advance(1000);
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_SUCCEEDED);
  EXPECT_FALSE(reported_[0].outcome.is_amendment);
}

TEST_F(SchedulerTest, NamesACommandThatNeverHadItsTurn) {
  Submit(Make("1"));
  Submit(Make("2"));
  scheduler_->Run();
  Advance(60'000);
  ASSERT_EQ(reported_.size(), 2U);
  EXPECT_EQ(reported_[1].uuid, "2");
  EXPECT_EQ(reported_[1].outcome.kind, QOR_AGENT_NOT_DELIVERED);
  EXPECT_EQ(reported_[1].outcome.reason, QOR_AGENT_REASON_NOT_SENT);
}

TEST_F(SchedulerTest, IgnoresAnAnswerToACommandThatWasNotSent) {
  Submit(Make("1"));
  Submit(Make("2"));
  scheduler_->Run();
  Answer("2");
  Answer("unheard of");
  EXPECT_THAT(reported_, IsEmpty());
  Answer("1");
  EXPECT_THAT(router_.sent, ElementsAre("1", "2"));
}

TEST_F(SchedulerTest, KeepsTheDeadlineWhenTheClockIsSet) {
  Submit(Make("1"));
  scheduler_->Run();
  clock_.wall += 1'000'000'000;
  Advance(59'999);
  EXPECT_THAT(reported_, IsEmpty());
  clock_.wall -= 2'000'000'000;
  Advance(1);
  EXPECT_EQ(reported_.size(), 1U);
}

TEST_F(SchedulerTest, TellsWhenItHasToRun) {
  EXPECT_EQ(scheduler_->NextRun(), Lanes::kNever);
  Submit(Make("1"));
  EXPECT_EQ(scheduler_->NextRun(), clock_.boot);
  scheduler_->Run();
  EXPECT_EQ(scheduler_->NextRun(), clock_.boot + 60'000);
  TimeOut("1", common::kConnectionTimeoutError);
  EXPECT_EQ(scheduler_->NextRun(), clock_.boot + 1000);
}

TEST_F(SchedulerTest, ReportsAgainAtEachStartUntilConfirmed) {
  Submit(Make("1"));
  scheduler_->Run();
  Answer("1");
  for (int i = 0; i < 2; ++i) {
    Start();
    scheduler_->Run();
    ASSERT_EQ(reported_.size(), 1U);
    EXPECT_EQ(reported_[0].outcome.result, "done");
  }
  scheduler_->Confirm("1");
  scheduler_->Run();
  Start();
  scheduler_->Run();
  EXPECT_THAT(reported_, IsEmpty());
}

TEST_F(SchedulerTest, ReportsAgainWhileTheStoreFailsAndAmendsThen) {
  Submit(Make("1"));
  scheduler_->Run();
  Advance(60'000);
  EXPECT_EQ(reported_.at(0).outcome.kind, QOR_AGENT_UNKNOWN);
  Submit(Make("2"));
  Start();
  store_.error = QOR_AGENT_ERROR_NO_SPACE;
  scheduler_->Run();
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_.at(0).outcome.kind, QOR_AGENT_UNKNOWN);
  Answer("1");
  store_.error.reset();
  Advance(1'000);
  ASSERT_EQ(reported_.size(), 2U);
  EXPECT_TRUE(reported_.at(1).outcome.is_amendment);
}

TEST_F(SchedulerTest, DoesNotReportWhatWasConfirmedAndForgottenBefore) {
  Submit(Make("1"));
  scheduler_->Run();
  Answer("1");
  clock_.Advance(60'000 + limits_.remember_ms);
  Start();
  EXPECT_EQ(scheduler_->Confirm("1"), QOR_AGENT_ERROR_NONE);
  Submit(Make("2"));
  scheduler_->Run();
  EXPECT_THAT(reported_, IsEmpty());
  EXPECT_THAT(router_.sent, ElementsAre("2"));
}

TEST_F(SchedulerTest, ConfirmsOutcomesOnly) {
  EXPECT_EQ(scheduler_->Confirm("1"), QOR_AGENT_ERROR_NOT_FOUND);
  Submit(Make("1"));
  EXPECT_EQ(scheduler_->Confirm("1"), QOR_AGENT_ERROR_NOT_FOUND);
  scheduler_->Run();
  on_outcome_ = [this](const Command& command) {
    EXPECT_EQ(scheduler_->Confirm(command.uuid), QOR_AGENT_ERROR_NONE);
  };
  Answer("1");
  EXPECT_EQ(scheduler_->Confirm("1"), QOR_AGENT_ERROR_NONE);
  EXPECT_EQ(reported_.at(0).outcome.result, "done");
}

TEST_F(SchedulerTest, RemembersAConfirmedUuidAndForgetsItInTime) {
  Submit(Make("1"));
  scheduler_->Run();
  Answer("1");
  scheduler_->Confirm("1");
  Advance(0);
  Start();
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_ALREADY_KNOWN);
  Advance(60'000 + limits_.remember_ms - 1);
  EXPECT_EQ(store_.rows.size(), 1U);
  Advance(1);
  EXPECT_THAT(store_.rows, IsEmpty());
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_NONE);
}

TEST_F(SchedulerTest, RemembersCommandsWithTheLatestDeadline) {
  limits_.remember_ms = std::numeric_limits<std::int64_t>::max();
  Start();
  Command command = Make("1");
  command.deadline_wall = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(Submit(command), QOR_AGENT_ERROR_NONE);
  scheduler_->Run();
  Answer("1");
  scheduler_->Confirm("1");
  Advance(1'000'000);
  EXPECT_EQ(Submit(Make("1")), QOR_AGENT_ERROR_ALREADY_KNOWN);
}

TEST_F(SchedulerTest, GoesOnAfterARestartAsThePolicySays) {
  limits_.window = 2;
  Start();
  Submit(Make("once"));
  Submit(AtLeastOnce("again"));
  Submit(Make("held"));
  scheduler_->Run();
  Start();
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("again", "held"));
  Answer("once");
  EXPECT_EQ(reported_.at(0).uuid, "once");
  EXPECT_EQ(reported_.at(0).outcome.kind, QOR_AGENT_SUCCEEDED);
}

TEST_F(SchedulerTest, DoesNotSendWhatIsNotStored) {
  Submit(Make("1"));
  store_.error = QOR_AGENT_ERROR_IO_ERROR;
  scheduler_->Run();
  EXPECT_THAT(router_.sent, IsEmpty());
  EXPECT_EQ(log_.size(), 1U);
  EXPECT_EQ(scheduler_->NextRun(), clock_.boot + 1000);
  store_.error.reset();
  Advance(1000);
  EXPECT_THAT(router_.sent, ElementsAre("1"));
}

TEST_F(SchedulerTest, SendsWhatANextSubmissionStored) {
  Submit(Make("1"));
  store_.error = QOR_AGENT_ERROR_IO_ERROR;
  scheduler_->Run();
  store_.error.reset();
  Submit(Make("2"));
  EXPECT_EQ(scheduler_->NextRun(), clock_.boot);
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1"));
}

TEST_F(SchedulerTest, AMarkedCommandThatWasNeverSentIsNotDelivered) {
  Submit(Make("1"));
  store_.error = QOR_AGENT_ERROR_IO_ERROR;
  scheduler_->Run();
  Advance(60'000);
  store_.error.reset();
  Advance(1000);
  EXPECT_THAT(router_.sent, IsEmpty());
  ASSERT_EQ(reported_.size(), 1U);
  EXPECT_EQ(reported_[0].outcome.kind, QOR_AGENT_NOT_DELIVERED);
}

TEST_F(SchedulerTest, WritesOnceForAllThatHappenedBetweenRuns) {
  limits_.window = 64;
  Start();
  std::vector<Command> commands;
  for (int i = 0; i < 64; ++i) commands.push_back(Make(std::to_string(i)));
  scheduler_->Submit(commands);
  scheduler_->Run();
  store_.writes = 0;
  for (int i = 0; i < 64; ++i) {
    scheduler_->OnResponse(std::to_string(i), QOR_REQUEST_STATUS_SUCCESS, "", "");
  }
  scheduler_->Run();
  EXPECT_EQ(store_.writes, 1);
  EXPECT_EQ(reported_.size(), 64U);
}

TEST_F(SchedulerTest, OutcomeCallbacksMaySubmit) {
  Submit(Make("1"));
  scheduler_->Run();
  on_outcome_ = [this](const Command& command) {
    if (command.uuid == "1") Submit(Make("2"));
  };
  Answer("1");
  scheduler_->Run();
  EXPECT_THAT(router_.sent, ElementsAre("1", "2"));
}

class ExtensionTest : public SchedulerTest {
 protected:
  void SubmitOne() {
    Start();
    Submit(Make("1"));
    scheduler_->Run();
  }
};

TEST_F(ExtensionTest, IsGrantedWithinTheDeadline) {
  SubmitOne();
  EXPECT_TRUE(scheduler_->OnExtensionRequest("handler", "1", 60));
  EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "1", 60.01));
}

TEST_F(ExtensionTest, IsGrantedUpToTheLimitInAll) {
  limits_.max_extension_ms = 15'000;
  SubmitOne();
  EXPECT_TRUE(scheduler_->OnExtensionRequest("handler", "1", 70));
  EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "1", 76));
  EXPECT_TRUE(scheduler_->OnExtensionRequest("handler", "1", 75));
  Advance(74'999);
  EXPECT_THAT(reported_, IsEmpty());
  Advance(1);
  EXPECT_EQ(reported_.size(), 1U);
}

TEST_F(ExtensionTest, SurvivesARestart) {
  limits_.max_extension_ms = 15'000;
  SubmitOne();
  EXPECT_TRUE(scheduler_->OnExtensionRequest("handler", "1", 75));
  scheduler_->Run();
  Start();
  Advance(74'999);
  EXPECT_THAT(reported_, IsEmpty());
}

TEST_F(ExtensionTest, IsDecidedByTheCallback) {
  bool grants = false;
  on_extension_ = [&grants](const std::string&, const std::string&, double) { return grants; };
  SubmitOne();
  EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "1", 1));
  grants = true;
  EXPECT_TRUE(scheduler_->OnExtensionRequest("handler", "1", 1e300));
  Advance(1'000'000'000);
  EXPECT_THAT(reported_, IsEmpty());
}

TEST_F(ExtensionTest, IsRefusedForImpossibleSecondsAndCommandsNotInFlight) {
  limits_.max_extension_ms = 1'000'000;
  SubmitOne();
  Submit(Make("2"));
  for (const double seconds : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
    EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "1", seconds)) << seconds;
  }
  EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "2", 1));
  EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "unheard of", 1));
  Answer("1");
  EXPECT_FALSE(scheduler_->OnExtensionRequest("handler", "1", 1));
}

}  // namespace
}  // namespace qor::agent
