// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "journal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "disk.h"
#include "error.h"

namespace qor::agent {
namespace {

namespace fs = std::filesystem;

class FakeClock final : public Clock {
 public:
  WallMs Wall() const override { return wall; }
  BootMs SinceBoot() const override { return boot; }
  std::string BootId() const override { return boot_id; }

  WallMs wall = 1'000'000;
  BootMs boot = 5'000;
  std::string boot_id = "first";
};

class JournalTest : public ::testing::Test {
 protected:
  JournalTest() {
    std::string pattern = fs::temp_directory_path() / "journal-XXXXXX";
    folder_ = mkdtemp(pattern.data());
    path_ = folder_ / "journal.db";
  }
  ~JournalTest() override { fs::remove_all(folder_); }

  std::vector<Command> Load() const {
    std::vector<Command> commands;
    Journal(path_, clock_).Load([&](Command command) { commands.push_back(std::move(command)); });
    return commands;
  }
  void Write(const std::vector<const Command*>& changed,
             const std::vector<std::int64_t>& erased = {}) const {
    Journal(path_, clock_).Write(changed, erased);
  }
  int OpenError() const {
    try {
      Load();
      return QOR_AGENT_ERROR_NONE;
    } catch (const Error& error) {
      EXPECT_THAT(error.what(), ::testing::HasSubstr(path_.string()));
      return error.code();
    }
  }
  static Command Make() {
    Command command;
    command.sequence = 3;
    command.uuid = "uuid";
    command.type = "type";
    command.payload = "payload";
    command.timestamp = 4;
    command.policy = QOR_AGENT_AT_LEAST_ONCE;
    command.waits_for_handler = true;
    command.deadline_wall = 2'000'000;
    command.deadline = 1'005'000;
    command.extended_ms = 5;
    command.state = State::kEnded;
    command.outcome = {
        QOR_AGENT_FAILED, QOR_AGENT_REASON_NOT_CONNECTED, 7, "result", "error", true};
    return command;
  }

  FakeClock clock_;
  fs::path folder_;
  fs::path path_;
};

TEST_F(JournalTest, KeepsEveryMember) {
  const Command written = Make();
  Write({&written});
  const auto commands = Load();
  ASSERT_EQ(commands.size(), 1U);
  const Command& read = commands[0];
  EXPECT_EQ(read.sequence, 3);
  EXPECT_EQ(read.uuid, "uuid");
  EXPECT_EQ(read.type, "type");
  EXPECT_EQ(read.payload, "payload");
  EXPECT_EQ(read.timestamp, 4);
  EXPECT_EQ(read.policy, QOR_AGENT_AT_LEAST_ONCE);
  EXPECT_TRUE(read.waits_for_handler);
  EXPECT_EQ(read.deadline_wall, 2'000'000);
  EXPECT_EQ(read.deadline, 1'005'000);
  EXPECT_EQ(read.extended_ms, 5);
  EXPECT_EQ(read.state, State::kEnded);
  EXPECT_EQ(read.outcome.kind, QOR_AGENT_FAILED);
  EXPECT_EQ(read.outcome.reason, QOR_AGENT_REASON_NOT_CONNECTED);
  EXPECT_EQ(read.outcome.status, 7);
  EXPECT_EQ(read.outcome.result, "result");
  EXPECT_EQ(read.outcome.error, "error");
  EXPECT_TRUE(read.outcome.is_amendment);
}

TEST_F(JournalTest, UpdatesAndErases) {
  Command command = Make();
  Command other = Make();
  other.sequence = 9;
  Write({&command, &other});
  command.state = State::kConfirmed;
  command.outcome.result.clear();
  Write({&command}, {9});
  const auto commands = Load();
  ASSERT_EQ(commands.size(), 1U);
  EXPECT_EQ(commands[0].state, State::kConfirmed);
  EXPECT_EQ(commands[0].outcome.result, "");
}

TEST_F(JournalTest, CountsDeadlinesByTheWallClockOverABoot) {
  const Command written = Make();
  Write({&written});
  clock_.boot_id = "second";
  clock_.boot = 100;
  clock_.wall = 1'500'000;
  EXPECT_EQ(Load().at(0).deadline, 500'100);
  // Only once: the wall clock may be set afterwards.
  clock_.wall = 1'900'000;
  EXPECT_EQ(Load().at(0).deadline, 500'100);
}

TEST_F(JournalTest, IsOpenOnce) {
  const Journal first(path_, clock_);
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_BUSY);
}

TEST_F(JournalTest, NamesADamagedFile) {
  const Command written = Make();
  Write({&written});
  std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(100);
  file << std::string(4000, '\xff');
  file.close();
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_DAMAGED);
  std::ofstream(path_) << "some other text, long enough to be taken for a header of a database";
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_DAMAGED);
  SetJournalAside(path_);
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_NONE);
  EXPECT_TRUE(fs::exists(path_.string() + ".damaged"));
}

TEST_F(JournalTest, RefusesForeignDatabasesAndNewerVersions) {
  {
    sqlite::Database other(path_, sqlite::Database::Mode::kCreate);
    other.Execute("CREATE TABLE commands (a)");
  }
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_DAMAGED);
  fs::remove(path_);
  Load();
  {
    sqlite::Database newer(path_, sqlite::Database::Mode::kExisting);
    newer.Execute("PRAGMA user_version = 2");
  }
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_VERSION);
}

TEST_F(JournalTest, RefusesInvalidNumbers) {
  for (const char* change :
       {"state = 4", "policy = -1", "sequence = 9223372036854775807", "sequence = -1",
        "deadline_wall = 9223372036854775807", "deadline_boot = -9223372036854775808",
        "deadline_boot = 1e300", "extended = -1"}) {
    std::filesystem::remove(path_);
    const Command written = Make();
    Write({&written});
    {
      sqlite::Database database(path_, sqlite::Database::Mode::kExisting);
      database.Execute((std::string("UPDATE commands SET ") + change).c_str());
    }
    EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_JOURNAL_DAMAGED) << change;
  }
}

TEST_F(JournalTest, NamesAMissingFolderAndAFolderInItsPlace) {
  path_ = folder_ / "missing" / "journal.db";
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_IO_ERROR);
  path_ = folder_;
  EXPECT_EQ(OpenError(), QOR_AGENT_ERROR_IO_ERROR);
}

// The process ends without closing the file, as after SIGKILL.
TEST_F(JournalTest, SurvivesTheEndOfItsProcess) {
  const pid_t child = fork();
  if (child == 0) {
    Journal journal(path_, clock_);
    const Command written = Make();
    journal.Write({&written}, {});
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(Load().size(), 1U);
}

class DiskFailureTest : public ::testing::Test {
 protected:
  DiskFailureTest() { simulation::RegisterDisks(1); }
  ~DiskFailureTest() override { sqlite3_vfs_register(sqlite3_vfs_find("unix"), 1); }

  // Writes two commands, the second while the disk does not synchronize, and ends.
  void WriteTwo(int failing_syncs) {
    journal_.emplace(kPath, clock_);
    Command command;
    command.uuid = "accepted";
    command.sequence = 1;
    journal_->Write({&command}, {});
    disk_.failing_syncs = failing_syncs;
    command.uuid = "rejected";
    command.sequence = 2;
    EXPECT_THROW(journal_->Write({&command}, {}), Error);
  }
  // The uuids in the journal after the process was killed, or the power failed.
  std::vector<std::string> CrashAndLoad(bool is_power_cut) {
    disk_.KillAt(0);
    journal_.reset();
    disk_.Revive(is_power_cut, random_);
    disk_.failing_syncs = 0;
    std::vector<std::string> uuids;
    Journal(kPath, clock_).Load([&](const Command& command) { uuids.push_back(command.uuid); });
    return uuids;
  }

  static constexpr char kPath[] = "/disk/journal.db";
  FakeClock clock_;
  simulation::Disk disk_{"disk"};
  std::optional<Journal> journal_;
  std::mt19937_64 random_{1};
};

TEST_F(DiskFailureTest, LeavesNothingOfAFailedWriteToAKilledProcess) {
  WriteTwo(2);
  EXPECT_EQ(CrashAndLoad(false), std::vector<std::string>{"accepted"});
}

TEST_F(DiskFailureTest, LeavesNothingOfAFailedWriteToAPowerCut) {
  for (int i = 0; i < 20; ++i) {
    disk_.files.clear();
    WriteTwo(1);
    EXPECT_EQ(CrashAndLoad(true), std::vector<std::string>{"accepted"});
  }
}

TEST_F(DiskFailureTest, WritesAgainAfterAFailure) {
  WriteTwo(2);
  Command command;
  command.uuid = "later";
  command.sequence = 3;
  journal_->Write({&command}, {});
  EXPECT_EQ(CrashAndLoad(true), (std::vector<std::string>{"accepted", "later"}));
}

}  // namespace
}  // namespace qor::agent
