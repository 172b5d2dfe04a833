// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "environment.h"
#include "extreme-numbers.h"

namespace fault_injection {

namespace {

void StartUp(Environment& environment) {
  environment.StartInjection();
  environment.Start();
  environment.Enumerate();
}

void FirstCommand(Environment& environment) {
  environment.StartInjection();
  environment.SendFirst("first");
}

void Launch(Environment& environment) {
  environment.Start();
  environment.StartInjection();
  environment.Send("first");
  environment.Connect("instance");
  environment.Fetch("instance");
  environment.Answer("instance", "first");
  environment.Send("second");
  environment.Answer("instance", "second");
  environment.Disconnect("instance");
}

void ManyCommands(Environment& environment) {
  environment.Start();
  environment.StartInjection();
  for (const char* uuid : {"one", "two", "three"}) environment.Send(uuid);
  environment.Connect("instance");
  environment.Fetch("instance");
  for (const char* uuid : {"four", "five"}) environment.Send(uuid);
  for (const char* uuid : {"four", "one", "three"}) environment.Answer("instance", uuid);
  environment.Send("six");
  environment.Advance(10);
}

void ExecutionTimeout(Environment& environment) {
  environment.Start();
  environment.Connect("instance");
  environment.Fetch("instance");
  environment.StartInjection();
  environment.Send("late");
  environment.Advance(10);
  environment.Answer("instance", "late");
}

void ConnectionTimeout(Environment& environment) {
  environment.Start();
  environment.StartInjection();
  environment.Send("to h", "other type");
  environment.Advance(10);
}

void Negotiation(Environment& environment) {
  environment.Start();
  environment.Connect("instance");
  environment.Fetch("instance");
  environment.StartInjection();
  environment.Send("slow");
  for (const double seconds : support::kNaNs) environment.Negotiate("instance", "slow", seconds);
  for (const double seconds : support::kExtremeDoubles) {
    environment.Negotiate("instance", "slow", seconds);
  }
  environment.Negotiate("instance", "slow", 10);
  environment.Advance(9);
  environment.Answer("instance", "slow");
}

void PackageEvents(Environment& environment) {
  environment.Start();
  environment.StartInjection();
  environment.Install("pair");
  environment.Send("to two", "second");
  environment.Update("pair");
  environment.Send("to one", "third");
  environment.Uninstall("pair");
  environment.Enumerate();
}

void Restart(Environment& environment) {
  environment.Start();
  environment.Send("dropped");
  environment.Connect("before");
  environment.StartInjection();
  environment.ShutDown();
  environment.Install("pair");
  environment.Start();
  environment.Send("kept");
  environment.Connect("after");
  environment.Fetch("after");
  environment.Answer("after", "kept");
}

void Enumeration(Environment& environment) {
  environment.Start();
  environment.StartInjection();
  environment.Enumerate();
}

int CountOf(const std::map<std::string, int>& counts, const std::string& uuid) {
  const auto found = counts.find(uuid);
  return found != counts.end() ? found->second : 0;
}

void CheckResponses(const Scenario& scenario, const Journal& journal) {
  for (const auto& [uuid, count] : journal.results) {
    // A result whose uuid could not be read is passed on as that of an unknown command.
    if (journal.sent.count(uuid) == 0) continue;
    EXPECT_LE(count, CountOf(journal.answered, uuid)) << uuid;
  }
  for (const auto& [uuid, count] : journal.timeouts) {
    EXPECT_EQ(journal.sent.count(uuid), 1u) << uuid;
    EXPECT_LE(count, 1) << uuid;
  }
  for (const auto& [uuid, codes] : journal.sent) {
    const int responses = CountOf(journal.timeouts, uuid) + CountOf(journal.results, uuid);
    // These errors reject the command. Any other error may occur after it was recorded.
    const bool rejected = codes[0] == QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND ||
                          codes[0] == QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL;
    if (rejected) {
      EXPECT_EQ(responses, 0) << uuid;
    } else if (codes[0] == 0 && scenario.answers_accepted_commands) {
      EXPECT_GE(responses, 1) << uuid;
    }
  }
}

}  // namespace

const std::vector<Scenario> kScenarios = {
    {"StartUp", StartUp},
    {"FirstCommand", FirstCommand},
    {"Launch", Launch},
    {"ManyCommands", ManyCommands},
    {"ExecutionTimeout", ExecutionTimeout, true},
    {"ConnectionTimeout", ConnectionTimeout, true},
    {"Negotiation", Negotiation},
    {"PackageEvents", PackageEvents},
    {"Restart", Restart},
    {"Enumeration", Enumeration},
};

Journal Play(const Scenario& scenario, const std::function<void()>& on_start,
             const std::function<void(const Step&)>& on_step) {
  Environment environment;
  environment.on_start = on_start;
  environment.on_step = on_step;
  scenario.play(environment);
  environment.ShutDown();
  EXPECT_EQ(environment.GetJournal().steps.back().result, 0);
  // The registry keeps tracking package events after shutdown.
  EXPECT_THAT(fake::OpenHandles(), ::testing::AnyOf("", "1 package manager"));
  EXPECT_EQ(fake::LoopUsers(), 1);
  EXPECT_THAT(fake::UsageErrors(), ::testing::IsEmpty());
  CheckResponses(scenario, environment.GetJournal());
  return environment.GetJournal();
}

}  // namespace fault_injection
