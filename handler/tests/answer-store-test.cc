// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "answer-store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qor::internal {
namespace {

namespace fs = std::filesystem;

class AnswerStoreTest : public testing::Test {
 protected:
  AnswerStoreTest() {
    std::string folder = fs::temp_directory_path() / "qor-answers-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    folder_ = folder;
  }
  ~AnswerStoreTest() override { fs::remove_all(folder_); }

  std::string File() const { return folder_ + "/answers.db"; }
  AnswerStore Open() { return Open(File()); }
  AnswerStore Open(const std::string& path) {
    return AnswerStore(path, limits_, [this] { return now_; });
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

TEST_F(AnswerStoreTest, CreatesNoFileBeforePrepare) {
  auto store = Open();
  EXPECT_TRUE(fs::is_empty(folder_));
  store.Prepare();
  EXPECT_TRUE(fs::exists(File()));
}

TEST_F(AnswerStoreTest, OpensTheFileOnFirstUse) {
  Open().Store(Key("one"), {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one"))), "yes");
  EXPECT_EQ(TextOf(Open().Find(Key("two"))), "(none)");
}

// The stored files were written on x86-64 by Store(Key("one", "payload"), {true, "yes"}) and
// Store(Key("two"), {false, "no"}).
TEST_F(AnswerStoreTest, ReadsFileFromAnotherArchitecture) {
  fs::copy_file(QOR_STORED_ANSWERS "/answers.db", File());
  auto store = Open();
  EXPECT_EQ(TextOf(store.Find(Key("one", "payload"))), "yes");
  const auto failure = store.Find(Key("two"));
  ASSERT_TRUE(failure);
  EXPECT_FALSE(failure->succeeded);
  EXPECT_EQ(failure->text, "no");
  EXPECT_EQ(TextOf(store.Find(Key("one", "other payload"))), "(none)");
}

// Such a file does not identify the payload. Running a command twice would be worse than giving an
// old answer to a reused uuid.
TEST_F(AnswerStoreTest, MatchesIntegerDigestsByUuid) {
  fs::copy_file(QOR_STORED_ANSWERS "/answers-integer-digests.db", File());
  auto store = Open();
  EXPECT_EQ(TextOf(store.Find(Key("one", "payload"))), "yes");
  EXPECT_EQ(TextOf(store.Find(Key("one", "other payload"))), "yes");
  EXPECT_EQ(TextOf(store.Find(Key("two"))), "no");
  EXPECT_FALSE(store.Find(Key("three")));
  EXPECT_FALSE(store.Find(CommandKey({"other agent", "one", "type", "payload", 0})));
  store.Store(Key("three", "payload"), {true, "new"});
  EXPECT_EQ(TextOf(store.Find(Key("three", "payload"))), "new");
  EXPECT_FALSE(store.Find(Key("three", "other payload")));
  now_ += limits_.age.count() + 1;
  EXPECT_FALSE(store.Find(Key("one", "payload")));
}

TEST_F(AnswerStoreTest, FindsAnswerAfterRestart) {
  Open().Store(Key("one"), {true, "yes"});
  auto again = Open();
  const auto answer = again.Find(Key("one"));
  ASSERT_TRUE(answer);
  EXPECT_TRUE(answer->succeeded);
  EXPECT_EQ(answer->text, "yes");
}

TEST_F(AnswerStoreTest, StoresFailureAsFailure) {
  Open().Store(Key("one"), {false, "no"});
  auto again = Open();
  const auto answer = again.Find(Key("one"));
  ASSERT_TRUE(answer);
  EXPECT_FALSE(answer->succeeded);
}

TEST_F(AnswerStoreTest, DistinguishesAgentsUuidsTypesAndPayloads) {
  auto store = Open();
  store.Store(CommandKey({"a", "u", "t", "p", 1}), {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(CommandKey({"a", "u", "t", "p", 2}))), "yes");
  EXPECT_FALSE(store.Find(CommandKey({"b", "u", "t", "p", 1})));
  EXPECT_FALSE(store.Find(CommandKey({"a", "v", "t", "p", 1})));
  EXPECT_FALSE(store.Find(CommandKey({"a", "u", "s", "p", 1})));
  EXPECT_FALSE(store.Find(CommandKey({"a", "u", "t", "q", 1})));
  EXPECT_FALSE(store.Find(CommandKey({"a", "u", "tp", "", 1})));
  EXPECT_FALSE(store.Find(CommandKey({"a", "ut", "", "p", 1})));
}

// These collide in a multiplicative hash over words, where the second word of a lane can cancel the
// change of the first.
TEST_F(AnswerStoreTest, DistinguishesPayloadsCraftedToCollide) {
  const auto payload = [](const char* first, const char* second) {
    return std::string(8, 'a') + first + std::string(24, 'a') + second + std::string(16, 'a');
  };
  const std::string one = payload("aaaaaaaa", "aaaaaaaa");
  const std::string other = payload("XxoIfvip", "A(jx6gqI");
  auto store = Open();
  store.Store(Key("uuid", one), {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(Key("uuid", one))), "yes");
  EXPECT_FALSE(store.Find(Key("uuid", other)));
  EXPECT_NE(Key("uuid", one).digest, Key("uuid", other).digest);
}

TEST_F(AnswerStoreTest, EvictsOldestBeyondCount) {
  limits_.count = 2;
  auto store = Open();
  for (const char* uuid : {"one", "two", "three"}) store.Store(Key(uuid), {true, uuid});
  EXPECT_FALSE(store.Find(Key("one")));
  EXPECT_EQ(TextOf(store.Find(Key("two"))), "two");
  EXPECT_EQ(TextOf(store.Find(Key("three"))), "three");
}

TEST_F(AnswerStoreTest, EvictsExpiredAnswers) {
  limits_.age = std::chrono::seconds(10);
  auto store = Open();
  store.Store(Key("one"), {true, "yes"});
  now_ += 10;
  EXPECT_TRUE(store.Find(Key("one")));
  now_ += 1;
  EXPECT_FALSE(store.Find(Key("one")));
}

TEST_F(AnswerStoreTest, EvictsNothingWhenTheClockIsSetBack) {
  limits_.age = std::chrono::seconds(10);
  auto store = Open();
  store.Store(Key("one"), {true, "1"});
  now_ = 0;
  store.Store(Key("two"), {true, "2"});
  EXPECT_TRUE(store.Find(Key("one")));
  EXPECT_TRUE(store.Find(Key("two")));
  now_ = 11;
  EXPECT_FALSE(store.Find(Key("two")));
}

TEST_F(AnswerStoreTest, EvictsOldestWhenFileIsFull) {
  limits_.bytes = 128 * 1024;
  auto store = Open();
  for (int i = 0; i < 100; ++i) {
    store.Store(Key(std::to_string(i)), {true, std::string(10'000, 'x')});
    ASSERT_TRUE(store.Find(Key(std::to_string(i)))) << i;
  }
  EXPECT_FALSE(store.Find(Key("0")));
  EXPECT_LE(fs::file_size(File()), limits_.bytes);
}

TEST_F(AnswerStoreTest, SkipsAnswerLargerThanTheFile) {
  limits_.bytes = 64 * 1024;
  auto store = Open();
  store.Store(Key("large"), {true, std::string(100'000, 'x')});
  EXPECT_FALSE(store.Find(Key("large")));
  store.Store(Key("small"), {true, "yes"});
  EXPECT_TRUE(store.Find(Key("small")));
}

TEST_F(AnswerStoreTest, ReplacesFileThatIsNoDatabase) {
  std::ofstream(File()) << std::string(10'000, 'x');
  Open().Store(Key("one"), {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one"))), "yes");
  EXPECT_EQ(fs::file_size(File() + ".corrupt"), 10'000u);
}

TEST_F(AnswerStoreTest, ReplacesFileWithAnotherTable) {
  sqlite::Database(File(), sqlite::Database::Mode::kCreate)
      .Execute("CREATE TABLE answers (something)");
  Open().Store(Key("one"), {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one"))), "yes");
  EXPECT_TRUE(fs::exists(File() + ".corrupt"));
}

// Queries would evaluate these declarations or exhaust memory.
TEST_F(AnswerStoreTest, ReplacesFileWithForeignSchema) {
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
    store.Store(Key("one"), {true, "yes"});
    EXPECT_EQ(TextOf(store.Find(Key("one"))), "yes") << sql;
    EXPECT_TRUE(fs::exists(File() + ".corrupt")) << sql;
    EXPECT_EQ(fs::file_size(File() + ".corrupt"), size);
  }
}

TEST_F(AnswerStoreTest, DoesNotFollowSymbolicLink) {
  const std::string other = folder_ + "/other.db";
  sqlite::Database(other, sqlite::Database::Mode::kCreate).Execute("CREATE TABLE other (x)");
  std::ostringstream before;
  before << std::ifstream(other).rdbuf();
  fs::create_symlink(other, File());
  Open().Store(Key("one"), {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("one"))), "yes");
  std::ostringstream after;
  after << std::ifstream(other).rdbuf();
  EXPECT_EQ(after.str(), before.str());
  EXPECT_TRUE(fs::is_symlink(File() + ".corrupt"));
  EXPECT_FALSE(fs::is_symlink(File()));
}

TEST_F(AnswerStoreTest, IgnoresPipe) {
  ASSERT_EQ(mkfifo(File().c_str(), 0600), 0);
  auto store = Open();
  store.Store(Key("one"), {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(Key("one"))), "yes");
}

TEST_F(AnswerStoreTest, RejectsStoredAnswerLargerThanTheLimit) {
  limits_.bytes = 1024 * 1024;
  Open().Store(Key("one"), {true, "yes"});
  sqlite::Database(File(), sqlite::Database::Mode::kExisting)
      .Execute("UPDATE answers SET text = zeroblob(2000000)");
  auto store = Open();
  EXPECT_FALSE(store.Find(Key("one")));
  store.Store(Key("one"), {true, "again"});
  EXPECT_EQ(TextOf(store.Find(Key("one"))), "again");
}

// A wait for each answer would exceed the test's timeout.
TEST_F(AnswerStoreTest, WaitsOnceForLockOfAnotherProcess) {
  auto store = Open();
  store.Store(Key("before"), {true, "yes"});
  sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
  {
    const sqlite::Transaction lock(other);
    for (int i = 0; i < 1'000; ++i) {
      store.Store(Key(std::to_string(i)), {true, "no"});
      EXPECT_EQ(TextOf(store.Find(Key("before"))), "yes");
    }
  }
  store.Store(Key("after"), {true, "yes"});
  EXPECT_EQ(TextOf(Open().Find(Key("after"))), "yes");
}

TEST_F(AnswerStoreTest, OpensFileOnceAnotherProcessUnlocksIt) {
  Open().Store(Key("before"), {true, "yes"});
  auto store = Open();
  {
    sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
    other.Execute("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE");
    for (int i = 0; i < 1'000; ++i) EXPECT_FALSE(store.Find(Key("before")));
  }
  EXPECT_EQ(TextOf(store.Find(Key("before"))), "yes");
}

TEST_F(AnswerStoreTest, ReplacesFileFoundDamagedAfterOpening) {
  limits_.bytes = 1024 * 1024;
  {
    auto store = Open();
    for (int i = 0; i < 50; ++i)
      store.Store(Key(std::to_string(i)), {true, std::string(5'000, 'x')});
  }
  {
    // All pages but the first, the only one that opening reads.
    std::fstream file(File(), std::ios::in | std::ios::out | std::ios::binary);
    const auto size = static_cast<std::streamoff>(fs::file_size(File()));
    file.seekp(4096);
    file << std::string(static_cast<std::size_t>(size - 4096), '\xff');
  }
  auto store = Open();
  store.Store(Key("one"), {true, "yes"});
  EXPECT_EQ(TextOf(store.Find(Key("one"))), "yes");
  EXPECT_TRUE(fs::exists(File() + ".corrupt"));
}

TEST_F(AnswerStoreTest, StoresInMemoryWithoutAFile) {
  for (const std::string& path : {std::string(), folder_ + "/no/such/folder/file", folder_}) {
    auto store = Open(path);
    store.Store(Key("one"), {true, "yes"});
    EXPECT_EQ(TextOf(store.Find(Key("one"))), "yes") << path;
  }
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(AnswerStoreTest, StoresNothingWithCountZero) {
  limits_.count = 0;
  auto store = Open();
  store.Store(Key("one"), {true, "yes"});
  EXPECT_FALSE(store.Find(Key("one")));
  EXPECT_TRUE(fs::is_empty(folder_));
}

TEST_F(AnswerStoreTest, ReplacesAnswerOfTheSameKey) {
  auto store = Open();
  store.Store(Key("one"), {true, "first"});
  store.Store(Key("one"), {true, "second"});
  EXPECT_EQ(TextOf(store.Find(Key("one"))), "second");
}

}  // namespace
}  // namespace qor::internal
