// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "history.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace chaos {
namespace {

constexpr char kStart[] = R"({"t":1,"pid":1,"event":"start","program":"p","wall":0})";
constexpr char kSent[] = R"({"t":2,"pid":1,"event":"sent","uuid":"a","type":"t","payload":""})";
constexpr char kRouted[] = R"({"t":3,"pid":1,"event":"routed","uuid":"a","handler":"h"})";
constexpr char kAccepted[] = R"({"t":4,"pid":1,"event":"accepted","uuid":"a"})";

class HistoryTest : public testing::Test {
 protected:
  HistoryTest() : path_(std::filesystem::temp_directory_path() / "qor-history-XXXXXX") {
    close(mkstemp(path_.data()));
    reader_.emplace(path_);
  }
  ~HistoryTest() override { std::remove(path_.c_str()); }

  void Append(const std::string& text) { std::ofstream(path_, std::ios::app) << text; }
  void AppendNote(const std::string& note, const std::string& about) {
    HistoryWriter(path_).Write(note, about);
  }
  const Tally& Read() {
    reader_->Replay(checker_);
    return checker_.GetTally();
  }

  std::string path_;
  std::optional<HistoryReader> reader_;
  HistoryChecker checker_{[](const std::string&) { return false; }};
};

TEST_F(HistoryTest, ReplaysLinesAppendedSinceLastCall) {
  Append(std::string(kStart) + "\n" + kSent + "\n" + kRouted);
  EXPECT_EQ(Read().agents, 1);
  Append("\n" + std::string(kAccepted) + "\n");
  EXPECT_EQ(Read().accepted, 1);
  EXPECT_EQ(reader_->BadLines(), 0);
}

TEST_F(HistoryTest, KeepsOrderOfNotesAndEvents) {
  Append(std::string(kStart) + "\n" + kSent + "\n" + kRouted + "\n" + kAccepted + "\n");
  AppendNote(kTimerFired, "1");
  Append(R"({"t":5,"pid":1,"event":"timed-out","uuid":"a","limit":"execution"})"
         "\n");
  EXPECT_EQ(Read().timed_out, 1);
  EXPECT_TRUE(checker_.Violations().empty());
}

TEST_F(HistoryTest, CountsIncompleteLineOfKilledAgent) {
  Append(std::string(kStart) + "\n" + kSent + "\n" + kRouted + "\n" + kAccepted + "\n{\"t\":5,");
  AppendNote(kAgentExited, "");
  Append(std::string(kStart) + "\n");
  EXPECT_EQ(Read().dropped, 1);
  EXPECT_EQ(Read().agents, 2);
  EXPECT_EQ(reader_->BadLines(), 1);
}

TEST_F(HistoryTest, ExtractsLinesOfOneCommand) {
  Append(std::string(kStart) + "\n" + kSent + "\n" + kRouted + "\n" + kAccepted + "\n");
  AppendNote("signal 9", "some.handler");
  AppendNote("signal 9", "another");
  const std::string history = HistoryOfCommand(path_, "a", "some.handler");
  EXPECT_EQ(history.find("start"), std::string::npos);
  EXPECT_NE(history.find(kSent), std::string::npos);
  EXPECT_NE(history.find("signal 9 some.handler"), std::string::npos);
  EXPECT_EQ(history.find("another"), std::string::npos);
}

}  // namespace
}  // namespace chaos
