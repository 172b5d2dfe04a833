// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "extreme-numbers.h"
#include "world.h"

namespace sweep {

namespace {

void StartUp(World& world) {
  world.BeginHere();
  world.Start();
  world.Enumerate();
}

void FirstCommand(World& world) {
  world.BeginHere();
  world.SendFirst("first");
}

void Launch(World& world) {
  world.Start();
  world.BeginHere();
  world.Send("first");
  world.Connect("instance");
  world.Fetch("instance");
  world.Answer("instance", "first");
  world.Send("second");
  world.Answer("instance", "second");
  world.Disconnect("instance");
}

void ManyCommands(World& world) {
  world.Start();
  world.BeginHere();
  for (const char* uuid : {"one", "two", "three"}) world.Send(uuid);
  world.Connect("instance");
  world.Fetch("instance");
  for (const char* uuid : {"four", "five"}) world.Send(uuid);
  for (const char* uuid : {"four", "one", "three"}) world.Answer("instance", uuid);
  world.Send("six");
  world.Advance(10);
}

void ExecutionTimeout(World& world) {
  world.Start();
  world.Connect("instance");
  world.Fetch("instance");
  world.BeginHere();
  world.Send("late");
  world.Advance(10);
  world.Answer("instance", "late");
}

void ConnectionTimeout(World& world) {
  world.Start();
  world.BeginHere();
  world.Send("to h", "other type");
  world.Advance(10);
}

void Negotiation(World& world) {
  world.Start();
  world.Connect("instance");
  world.Fetch("instance");
  world.BeginHere();
  world.Send("slow");
  for (const double seconds : support::kNaNs) world.Negotiate("instance", "slow", seconds);
  for (const double seconds : support::kExtremeDoubles) {
    world.Negotiate("instance", "slow", seconds);
  }
  world.Negotiate("instance", "slow", 10);
  world.Advance(9);
  world.Answer("instance", "slow");
}

void PackageEvents(World& world) {
  world.Start();
  world.BeginHere();
  world.Install("pair");
  world.Send("to two", "second");
  world.Update("pair");
  world.Send("to one", "third");
  world.Uninstall("pair");
  world.Enumerate();
}

void Restart(World& world) {
  world.Start();
  world.Send("dropped");
  world.Connect("before");
  world.BeginHere();
  world.ShutDown();
  world.Install("pair");
  world.Start();
  world.Send("kept");
  world.Connect("after");
  world.Fetch("after");
  world.Answer("after", "kept");
}

void Enumeration(World& world) {
  world.Start();
  world.BeginHere();
  world.Enumerate();
}

int CountOf(const std::map<std::string, int>& counts, const std::string& uuid) {
  const auto found = counts.find(uuid);
  return found != counts.end() ? found->second : 0;
}

void CheckResponses(const Scenario& scenario, const Journal& journal) {
  for (const auto& [uuid, count] : journal.results) {
    // A result whose uuid could not be read is one of an unknown command, and passed on as such.
    if (journal.sent.count(uuid) == 0) continue;
    EXPECT_LE(count, CountOf(journal.answered, uuid)) << uuid;
  }
  for (const auto& [uuid, count] : journal.timeouts) {
    EXPECT_EQ(journal.sent.count(uuid), 1u) << uuid;
    EXPECT_LE(count, 1) << uuid;
  }
  for (const auto& [uuid, codes] : journal.sent) {
    const int responses = CountOf(journal.timeouts, uuid) + CountOf(journal.results, uuid);
    // A refusal is final. Any other error may come after the command was recorded.
    const bool refused = codes[0] == QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND ||
                         codes[0] == QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL;
    if (refused) {
      EXPECT_EQ(responses, 0) << uuid;
    } else if (codes[0] == 0 && scenario.answers_what_it_accepts) {
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

Journal Play(const Scenario& scenario, const std::function<void()>& on_begin,
             const std::function<void(const Step&)>& on_step) {
  World world;
  world.on_begin = on_begin;
  world.on_step = on_step;
  scenario.play(world);
  world.ShutDown();
  EXPECT_EQ(world.GetJournal().steps.back().result, 0);
  // After a shut-down the registry goes on following the packages.
  EXPECT_THAT(fake::Held(), ::testing::AnyOf("", "1 package manager"));
  EXPECT_EQ(fake::LoopUsers(), 1);
  EXPECT_THAT(fake::Faults(), ::testing::IsEmpty());
  CheckResponses(scenario, world.GetJournal());
  return world.GetJournal();
}

}  // namespace sweep
