// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "command-store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qor::internal {
namespace {

namespace fs = std::filesystem;

class CommandStoreTest : public testing::Test {
 protected:
  CommandStoreTest() {
    std::string folder = fs::temp_directory_path() / "qor-answers-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    folder_ = folder;
  }
  ~CommandStoreTest() override { fs::remove_all(folder_); }

  std::string File() const { return folder_ + "/answers.db"; }
  CommandStore Open() { return Open(File()); }
  CommandStore Open(const std::string& path) {
    return CommandStore(path, limits_, [this] { return now_; });
  }

  static CommandKey Key(const std::string& uuid, const std::string& payload = "") {
    return CommandKey({"agent", uuid, "type", payload, 0});
  }
  static std::string TextOf(const std::optional<Answer>& answer) {
    return answer ? answer->text : "(none)";
  }

  AnswerLimits limits_;
  std::int64_t now_ = 1'000'000;
  std::string folder_;
};

TEST_F(CommandStoreTest, CreatesNoFileBeforePrepare) {
  auto store = Open();
  EXPECT_TRUE(fs::is_empty(folder_));
  store.Prepare();
  EXPECT_TRUE(fs::exists(File()));
}

TEST_F(CommandStoreTest, OpensTheFileOnFirstUse) {
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one")).answer), "yes");
  EXPECT_EQ(TextOf(Open().Find(Key("two")).answer), "(none)");
}

// The stored files were written on x86-64 by Store(Key("one", "payload"), {true, "yes"}) and
// Store(Key("two"), {false, "no"}).
TEST_F(CommandStoreTest, ReadsFileFromAnotherArchitecture) {
  fs::copy_file(QOR_STORED_ANSWERS "/answers.db", File());
  auto store = Open();
  EXPECT_EQ(TextOf(store.Find(Key("one", "payload")).answer), "yes");
  const auto failure = store.Find(Key("two")).answer;
  ASSERT_TRUE(failure);
  EXPECT_FALSE(failure->succeeded);
  EXPECT_EQ(failure->text, "no");
  EXPECT_EQ(TextOf(store.Find(Key("one", "other payload")).answer), "(none)");
}

// Such a file does not identify the payload. Running a command twice would be worse than giving an
// old answer to a reused uuid.
TEST_F(CommandStoreTest, MatchesIntegerDigestsByUuid) {
  fs::copy_file(QOR_STORED_ANSWERS "/answers-integer-digests.db", File());
  auto store = Open();
  EXPECT_EQ(TextOf(store.Find(Key("one", "payload")).answer), "yes");
  EXPECT_EQ(TextOf(store.Find(Key("one", "other payload")).answer), "yes");
  EXPECT_EQ(TextOf(store.Find(Key("two")).answer), "no");
  EXPECT_FALSE(store.Find(Key("three")).answer);
  EXPECT_FALSE(store.Find(CommandKey({"other agent", "one", "type", "payload", 0})).answer);
  store.Complete(Key("three", "payload"), Policy::kAtLeastOnce, {true, "new"});
  EXPECT_EQ(TextOf(store.Find(Key("three", "payload")).answer), "new");
  EXPECT_FALSE(store.Find(Key("three", "other payload")).answer);
  now_ += limits_.age.count() + 1;
  EXPECT_FALSE(store.Find(Key("one", "payload")).answer);
}

TEST_F(CommandStoreTest, FindsAnswerAfterRestart) {
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  auto again = Open();
  const auto answer = again.Find(Key("one")).answer;
  ASSERT_TRUE(answer);
  EXPECT_TRUE(answer->succeeded);
  EXPECT_EQ(answer->text, "yes");
}

TEST_F(CommandStoreTest, StoresFailureAsFailure) {
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {false, "no"});
  auto again = Open();
  const auto answer = again.Find(Key("one")).answer;
  ASSERT_TRUE(answer);
  EXPECT_FALSE(answer->succeeded);
}

TEST_F(CommandStoreTest, DistinguishesAgentsUuidsTypesAndPayloads) {
  auto store = Open();
  store.Complete(CommandKey({"a", "u", "t", "p", 1}), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(CommandKey({"a", "u", "t", "p", 2})).answer), "yes");
  EXPECT_FALSE(store.Find(CommandKey({"b", "u", "t", "p", 1})).answer);
  EXPECT_FALSE(store.Find(CommandKey({"a", "v", "t", "p", 1})).answer);
  EXPECT_FALSE(store.Find(CommandKey({"a", "u", "s", "p", 1})).answer);
  EXPECT_FALSE(store.Find(CommandKey({"a", "u", "t", "q", 1})).answer);
  EXPECT_FALSE(store.Find(CommandKey({"a", "u", "tp", "", 1})).answer);
  EXPECT_FALSE(store.Find(CommandKey({"a", "ut", "", "p", 1})).answer);
}

// These collide in a multiplicative hash over words, where the second word of a lane can cancel the
// change of the first.
TEST_F(CommandStoreTest, DistinguishesPayloadsCraftedToCollide) {
  const auto payload = [](const char* first, const char* second) {
    return std::string(8, 'a') + first + std::string(24, 'a') + second + std::string(16, 'a');
  };
  const std::string one = payload("aaaaaaaa", "aaaaaaaa");
  const std::string other = payload("XxoIfvip", "A(jx6gqI");
  auto store = Open();
  store.Complete(Key("uuid", one), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(Key("uuid", one)).answer), "yes");
  EXPECT_FALSE(store.Find(Key("uuid", other)).answer);
  EXPECT_NE(Key("uuid", one).digest, Key("uuid", other).digest);
}

TEST_F(CommandStoreTest, EvictsOldestBeyondCount) {
  limits_.count = 2;
  auto store = Open();
  for (const char* uuid : {"one", "two", "three"})
    store.Complete(Key(uuid), Policy::kAtLeastOnce, {true, uuid});
  EXPECT_FALSE(store.Find(Key("one")).answer);
  EXPECT_EQ(TextOf(store.Find(Key("two")).answer), "two");
  EXPECT_EQ(TextOf(store.Find(Key("three")).answer), "three");
}

TEST_F(CommandStoreTest, EvictsExpiredAnswers) {
  limits_.age = std::chrono::seconds(10);
  auto store = Open();
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  now_ += 10;
  EXPECT_TRUE(store.Find(Key("one")).answer);
  now_ += 1;
  EXPECT_FALSE(store.Find(Key("one")).answer);
}

TEST_F(CommandStoreTest, EvictsNothingWhenTheClockIsSetBack) {
  limits_.age = std::chrono::seconds(10);
  auto store = Open();
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "1"});
  now_ = 0;
  store.Complete(Key("two"), Policy::kAtLeastOnce, {true, "2"});
  EXPECT_TRUE(store.Find(Key("one")).answer);
  EXPECT_TRUE(store.Find(Key("two")).answer);
  now_ = 11;
  EXPECT_FALSE(store.Find(Key("two")).answer);
}

TEST_F(CommandStoreTest, EvictsOldestWhenFileIsFull) {
  limits_.bytes = 128 * 1024;
  auto store = Open();
  for (int i = 0; i < 100; ++i) {
    store.Complete(Key(std::to_string(i)), Policy::kAtLeastOnce, {true, std::string(10'000, 'x')});
    ASSERT_TRUE(store.Find(Key(std::to_string(i))).answer) << i;
  }
  EXPECT_FALSE(store.Find(Key("0")).answer);
  EXPECT_LE(fs::file_size(File()), limits_.bytes);
}

TEST_F(CommandStoreTest, SkipsAnswerLargerThanTheFile) {
  limits_.bytes = 64 * 1024;
  auto store = Open();
  store.Complete(Key("large"), Policy::kAtLeastOnce, {true, std::string(100'000, 'x')});
  EXPECT_FALSE(store.Find(Key("large")).answer);
  store.Complete(Key("small"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_TRUE(store.Find(Key("small")).answer);
}

TEST_F(CommandStoreTest, ReplacesFileThatIsNoDatabase) {
  std::ofstream(File()) << std::string(10'000, 'x');
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one")).answer), "yes");
  EXPECT_EQ(fs::file_size(File() + ".corrupt"), 10'000u);
}

TEST_F(CommandStoreTest, ReplacesFileWithAnotherTable) {
  sqlite::Database(File(), sqlite::Database::Mode::kCreate)
      .Execute("CREATE TABLE answers (something)");
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one")).answer), "yes");
  EXPECT_TRUE(fs::exists(File() + ".corrupt"));
}

// Queries would evaluate these declarations or exhaust memory.
TEST_F(CommandStoreTest, ReplacesFileWithForeignSchema) {
  const std::string table =
      "CREATE TABLE answers (agent TEXT, uuid TEXT, digest BLOB, succeeded INTEGER, text TEXT,"
      " time INTEGER, PRIMARY KEY (agent, uuid, digest))";
  for (const std::string& sql :
       {std::string("CREATE TABLE answers (agent TEXT, uuid TEXT, digest BLOB, succeeded INTEGER,"
                    " text TEXT AS (hex(zeroblob(400000000))), time INTEGER)"),
        table + "; CREATE TRIGGER stop BEFORE DELETE ON answers BEGIN SELECT raise(IGNORE); END",
        table + "; CREATE INDEX large ON answers (hex(zeroblob(400000000)))",
        table + "; CREATE TABLE other (x)",
        std::string("CREATE VIEW answers AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL SELECT x"
                    " FROM n) SELECT x AS agent, x AS uuid, x AS digest, 1 AS succeeded, x AS text,"
                    " x AS time FROM n")}) {
    fs::remove(File());
    fs::remove(File() + ".corrupt");
    sqlite::Database(File(), sqlite::Database::Mode::kCreate).Execute(sql.c_str());
    const auto size = fs::file_size(File());
    auto store = Open();
    store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
    EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "yes") << sql;
    EXPECT_TRUE(fs::exists(File() + ".corrupt")) << sql;
    EXPECT_EQ(fs::file_size(File() + ".corrupt"), size);
  }
}

TEST_F(CommandStoreTest, DoesNotFollowSymbolicLink) {
  const std::string other = folder_ + "/other.db";
  sqlite::Database(other, sqlite::Database::Mode::kCreate).Execute("CREATE TABLE other (x)");
  std::ostringstream before;
  before << std::ifstream(other).rdbuf();
  fs::create_symlink(other, File());
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one")).answer), "yes");
  std::ostringstream after;
  after << std::ifstream(other).rdbuf();
  EXPECT_EQ(after.str(), before.str());
  EXPECT_TRUE(fs::is_symlink(File() + ".corrupt"));
  EXPECT_FALSE(fs::is_symlink(File()));
}

TEST_F(CommandStoreTest, IgnoresPipe) {
  ASSERT_EQ(mkfifo(File().c_str(), 0600), 0);
  auto store = Open();
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "yes");
}

TEST_F(CommandStoreTest, RejectsStoredAnswerLargerThanTheLimit) {
  limits_.bytes = 1024 * 1024;
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  sqlite::Database(File(), sqlite::Database::Mode::kExisting)
      .Execute("UPDATE answers SET text = zeroblob(2000000)");
  auto store = Open();
  EXPECT_FALSE(store.Find(Key("one")).answer);
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "again"});
  EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "again");
}

// A wait for each answer would exceed the test's timeout.
TEST_F(CommandStoreTest, WaitsOnceForLockOfAnotherProcess) {
  auto store = Open();
  store.Complete(Key("before"), Policy::kAtLeastOnce, {true, "yes"});
  sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
  {
    const sqlite::Transaction lock(other);
    for (int i = 0; i < 1'000; ++i) {
      store.Complete(Key(std::to_string(i)), Policy::kAtLeastOnce, {true, "no"});
      EXPECT_EQ(TextOf(store.Find(Key("before")).answer), "yes");
    }
  }
  store.Complete(Key("after"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("after")).answer), "yes");
}

TEST_F(CommandStoreTest, OpensFileOnceAnotherProcessUnlocksIt) {
  Open().Complete(Key("before"), Policy::kAtLeastOnce, {true, "yes"});
  auto store = Open();
  {
    sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
    other.Execute("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE");
    for (int i = 0; i < 1'000; ++i) EXPECT_FALSE(store.Find(Key("before")).answer);
  }
  EXPECT_EQ(TextOf(store.Find(Key("before")).answer), "yes");
}

TEST_F(CommandStoreTest, ReplacesFileFoundDamagedAfterOpening) {
  limits_.bytes = 1024 * 1024;
  {
    auto store = Open();
    for (int i = 0; i < 50; ++i)
      store.Complete(Key(std::to_string(i)), Policy::kAtLeastOnce, {true, std::string(5'000, 'x')});
  }
  {
    // All pages but the first, the only one that opening reads.
    std::fstream file(File(), std::ios::in | std::ios::out | std::ios::binary);
    const auto size = static_cast<std::streamoff>(fs::file_size(File()));
    file.seekp(4096);
    file << std::string(static_cast<std::size_t>(size - 4096), '\xff');
  }
  auto store = Open();
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "yes");
  EXPECT_TRUE(fs::exists(File() + ".corrupt"));
}

TEST_F(CommandStoreTest, StoresInMemoryWithoutAFile) {
  for (const std::string& path : {std::string(), folder_ + "/no/such/folder/file", folder_}) {
    auto store = Open(path);
    store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
    EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "yes") << path;
  }
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(CommandStoreTest, StoresNothingWithCountZero) {
  limits_.count = 0;
  auto store = Open();
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_FALSE(store.Find(Key("one")).answer);
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(CommandStoreTest, ReplacesAnswerOfTheSameKey) {
  auto store = Open();
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "first"});
  store.Complete(Key("one"), Policy::kAtLeastOnce, {true, "second"});
  EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "second");
}

TEST_F(CommandStoreTest, CountsRunsWithoutAnAnswer) {
  EXPECT_EQ(Open().Find(Key("one")).unfinished_runs, 0);
  EXPECT_TRUE(Open().Begin(Key("one"), Policy::kAtLeastOnce));
  EXPECT_TRUE(Open().Begin(Key("one"), Policy::kAtMostOnce));
  EXPECT_EQ(Open().Find(Key("one")).unfinished_runs, 2);
  Open().Complete(Key("one"), Policy::kAtLeastOnce, {true, "yes"});
  EXPECT_EQ(Open().Find(Key("one")).unfinished_runs, 0);
}

TEST_F(CommandStoreTest, KeepsStateOfSuspendedCommand) {
  const std::string state("with\0byte", 9);
  EXPECT_TRUE(Open().Begin(Key("one"), Policy::kAtMostOnce));
  EXPECT_TRUE(Open().Suspend(Key("one"), state));
  const auto stored = Open().Find(Key("one"));
  EXPECT_EQ(stored.state, state);
  EXPECT_EQ(stored.unfinished_runs, 0);
  Open().Complete(Key("one"), Policy::kAtMostOnce, {true, "yes"});
  EXPECT_EQ(Open().Find(Key("one")).state, std::nullopt);
  EXPECT_EQ(TextOf(Open().Find(Key("one")).answer), "yes");
}

TEST_F(CommandStoreTest, EvictsNoRecentAtMostOnceAnswer) {
  limits_.count = 2;
  auto store = Open();
  store.Complete(Key("once"), Policy::kAtMostOnce, {true, "once"});
  for (const char* uuid : {"one", "two", "three"})
    store.Complete(Key(uuid), Policy::kAtLeastOnce, {true, uuid});
  EXPECT_FALSE(store.Find(Key("one")).answer);
  EXPECT_EQ(TextOf(store.Find(Key("once")).answer), "once");
}

TEST_F(CommandStoreTest, KeepsAtMostOnceRunsWhenTheClockIsSet) {
  auto store = Open();
  EXPECT_TRUE(store.Begin(Key("begun"), Policy::kAtMostOnce));
  store.Complete(Key("answered"), Policy::kAtMostOnce, {true, "yes"});
  for (const std::int64_t step : {+50LL, -100LL}) {
    now_ += step * 365 * 24 * 3600;
    EXPECT_TRUE(store.Begin(Key("new" + std::to_string(step)), Policy::kAtMostOnce));
    EXPECT_EQ(store.Find(Key("begun")).unfinished_runs, 1);
    EXPECT_EQ(TextOf(store.Find(Key("answered")).answer), "yes");
  }
}

TEST_F(CommandStoreTest, EvictsOldAtMostOnceAnswersOverTheCountAlsoOfTheFuture) {
  limits_.count = 2;
  auto store = Open();
  for (const char* uuid : {"one", "two"}) store.Complete(Key(uuid), Policy::kAtMostOnce, {});
  EXPECT_FALSE(store.Begin(Key("three"), Policy::kAtMostOnce));
  now_ -= 1;
  for (const char* uuid : {"three", "four"})
    EXPECT_TRUE(store.Begin(Key(uuid), Policy::kAtMostOnce)) << uuid;
  EXPECT_FALSE(store.Begin(Key("five"), Policy::kAtMostOnce));
  now_ += 3'601;
  EXPECT_TRUE(store.Begin(Key("five"), Policy::kAtMostOnce));
}

TEST_F(CommandStoreTest, EvictsOldAtMostOnceAnswersWhenFileIsFull) {
  limits_.bytes = 64 * 1024;
  auto store = Open();
  const Answer answer{true, std::string(10'000, 'x')};
  for (const char* uuid : {"old", "too", "more"})
    store.Complete(Key(uuid), Policy::kAtMostOnce, answer);
  now_ += 3'601;
  for (const char* uuid : {"new", "newer"}) store.Complete(Key(uuid), Policy::kAtMostOnce, answer);
  EXPECT_FALSE(Open().Find(Key("old")).answer);
  EXPECT_TRUE(Open().Find(Key("new")).answer);
  EXPECT_TRUE(Open().Find(Key("newer")).answer);
}

TEST_F(CommandStoreTest, ReturnsAtMostOnceAnswerThatCannotBeWritten) {
  auto store = Open();
  EXPECT_TRUE(store.Begin(Key("one"), Policy::kAtMostOnce));
  {
    sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
    const sqlite::Transaction lock(other);
    store.Complete(Key("one"), Policy::kAtMostOnce, {true, "yes"});
  }
  EXPECT_EQ(TextOf(store.Find(Key("one")).answer), "yes");
  EXPECT_FALSE(Open().Find(Key("one")).answer);
}

TEST_F(CommandStoreTest, RecordsNoAtMostOnceRunWhenTheFileIsFullOfRecentOnes) {
  limits_.bytes = 128 * 1024;
  auto store = Open();
  const Answer answer{true, std::string(10'000, 'x')};
  for (int i = 0; i < 10; ++i)
    store.Complete(Key("evicted " + std::to_string(i)), Policy::kAtLeastOnce, answer);
  int count = 0;
  for (; count < 100 && store.Begin(Key(std::to_string(count)), Policy::kAtMostOnce); ++count)
    store.Complete(Key(std::to_string(count)), Policy::kAtMostOnce, answer);
  EXPECT_GT(count, 5);
  for (int i = 0; i < count; ++i) EXPECT_TRUE(Open().Find(Key(std::to_string(i))).answer) << i;
  EXPECT_EQ(store.Find(Key(std::to_string(count))).unfinished_runs, 0);
  now_ += 3601;
  EXPECT_TRUE(store.Begin(Key("later"), Policy::kAtMostOnce));
}

TEST_F(CommandStoreTest, RecordsNoAtMostOnceRunWithoutAFile) {
  EXPECT_FALSE(Open("").Begin(Key("one"), Policy::kAtMostOnce));
  EXPECT_FALSE(Open("").Suspend(Key("one"), "state"));
  EXPECT_FALSE(Open(folder_ + "/no/such/folder/file").Begin(Key("one"), Policy::kAtMostOnce));
}

TEST_F(CommandStoreTest, RecordsAtMostOnceRunsOnceTheFileCanBeOpened) {
  auto store = Open(folder_ + "/later/file");
  EXPECT_FALSE(store.Begin(Key("one"), Policy::kAtMostOnce));
  EXPECT_TRUE(store.Begin(Key("two"), Policy::kAtLeastOnce));
  fs::create_directory(folder_ + "/later");
  EXPECT_FALSE(store.Begin(Key("one"), Policy::kAtMostOnce));
  store.Find(Key("one"));
  EXPECT_TRUE(store.Begin(Key("one"), Policy::kAtMostOnce));
  EXPECT_EQ(Open(folder_ + "/later/file").Find(Key("one")).unfinished_runs, 1);
}

TEST_F(CommandStoreTest, RecordsNoAtMostOnceRunWhileTheFileIsLocked) {
  auto store = Open();
  store.Prepare();
  sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
  const sqlite::Transaction lock(other);
  EXPECT_FALSE(store.Begin(Key("one"), Policy::kAtMostOnce));
  EXPECT_TRUE(store.Begin(Key("one"), Policy::kAtLeastOnce));
}

TEST_F(CommandStoreTest, AddsRunsToFileOfAnEarlierVersion) {
  fs::copy_file(QOR_STORED_ANSWERS "/answers.db", File());
  EXPECT_TRUE(Open().Begin(Key("new"), Policy::kAtMostOnce));
  EXPECT_EQ(Open().Find(Key("new")).unfinished_runs, 1);
  EXPECT_EQ(TextOf(Open().Find(Key("one", "payload")).answer), "yes");
}

}  // namespace
}  // namespace qor::internal
