// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/pending-commands.h"

#include <optional>
#include <string>
#include <vector>

#include "library-test.h"

namespace {

class PendingCommands : public support::PlatformTest {
 protected:
  void TearDown() override {
    list_.reset();
    PlatformTest::TearDown();
  }

  api::RequestContext& Append(const std::string& uuid) {
    // cppcheck-suppress returnTempReference ; the reference is to an element of the list
    return list_->Append(rpc_port::stub::Command(uuid, "type", "", 0, {}), [this, uuid] {
      fired_.push_back(uuid);
      return false;
    });
  }

  // `position` must be the position of the command.
  void Start(const std::string& uuid, std::size_t position) {
    list_->StartTimer(*list_->Find(uuid), position, 2);
  }

  std::vector<std::string> Uuids() {
    std::vector<std::string> uuids;
    list_->ForEach(
        [&uuids](api::RequestContext& context) { uuids.push_back(context.GetCommand().uuid); });
    return uuids;
  }

  // Optional, so that a new list gets the address of the old one.
  std::optional<api::PendingCommands> list_ = std::make_optional<api::PendingCommands>();
  std::vector<std::string> fired_;
};

TEST_F(PendingCommands, KeepsOrderOfSending) {
  std::vector<std::string> expected;
  for (int i = 0; i < 300; ++i) {
    const std::string uuid = std::to_string(i);
    Append(uuid);
    expected.push_back(uuid);
    if (i % 3 == 2) {
      const auto removed = expected.begin() + i % static_cast<int>(expected.size());
      list_->Remove(*removed);
      EXPECT_EQ(list_->Find(*removed), nullptr);
      expected.erase(removed);
    }
    ASSERT_EQ(Uuids(), expected);
  }
  for (const auto& uuid : expected) {
    ASSERT_NE(list_->Find(uuid), nullptr);
    EXPECT_EQ(list_->Find(uuid)->GetCommand().uuid, uuid);
  }
}

TEST_F(PendingCommands, IgnoresRemovalOfUnknownUuid) {
  Append("a");
  Start("a", 0);
  list_->Remove("b");
  EXPECT_EQ(Uuids(), std::vector<std::string>{"a"});
  EXPECT_EQ(fake::Timers().size(), 1u);
}

TEST_F(PendingCommands, DeletesTimersOfRemovedCommandsInDestructor) {
  Append("a");
  Start("a", 0);
  list_->Find("a")->SetExpired();
  list_->Remove("a");
  EXPECT_EQ(fake::Timers().size(), 1u);
  list_.reset();
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(PendingCommands, DeletesTimersStartedBeforeGrowthInDestructor) {
  Append("a");
  Start("a", 0);
  list_->Find("a")->SetExpired();
  Append("b");
  EXPECT_EQ(fake::Timers().size(), 1u);
  list_.reset();
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(PendingCommands, RunsActionOfOwnerOfPosition) {
  for (const char* uuid : {"a", "b", "c"}) Append(uuid);
  Start("b", 1);
  list_->Remove("a");
  fake::Advance(2);
  EXPECT_EQ(fired_, std::vector<std::string>{"c"});
}

}  // namespace
