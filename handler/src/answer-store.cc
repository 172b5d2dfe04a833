// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "answer-store.h"

#include <sodium.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <tuple>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

constexpr char kInMemory[] = ":memory:";
constexpr std::size_t kPageBytes = 4096;
// The limit on values also applies to SQL that SQLite generates, so it must not be smaller than
// that.
constexpr std::size_t kMaxSqlBytes = 4096;
// Blocks the main loop, so only the first access waits while another process holds the lock.
constexpr std::chrono::seconds kLockTimeout{1};
constexpr std::chrono::seconds kNoWait(0);

// Compared with the text that SQLite stores in its schema.
constexpr char kTable[] =
    "CREATE TABLE answers (agent TEXT, uuid TEXT, digest BLOB, succeeded INTEGER, text TEXT,"
    " time INTEGER, PRIMARY KEY (agent, uuid, digest))";
constexpr char kTableWithIntegerDigests[] =
    "CREATE TABLE answers (agent TEXT, uuid TEXT, digest INTEGER, succeeded INTEGER, text TEXT,"
    " time INTEGER, PRIMARY KEY (agent, uuid, digest))";
constexpr char kIndex[] = "CREATE INDEX answers_time ON answers (time)";

void Add(crypto_generichash_state& state, const std::string& text) {
  crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(text.data()),
                            text.size());
}

CommandKey::Digest DigestOf(const ReceivedCommand& command) {
  // Selects the implementation for this processor. Without it the portable one runs, so failure is
  // no error.
  [[maybe_unused]] static const int initialized = sodium_init();
  crypto_generichash_state state;
  CommandKey::Digest digest;
  crypto_generichash_init(&state, nullptr, 0, digest.size());
  for (const std::string* text : {&command.agent, &command.uuid, &command.type, &command.payload}) {
    // The length prefix keeps ("ab", "c") distinct from ("a", "bc").
    Add(state, std::to_string(text->size()) + ':');
    Add(state, *text);
  }
  crypto_generichash_final(&state, digest.data(), digest.size());
  return digest;
}

bool IsDamage(const sqlite::DatabaseError& error) {
  return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB ||
         // A table of that name with other columns.
         error.code() == SQLITE_ERROR;
}

}  // namespace

CommandKey::CommandKey(const ReceivedCommand& command)
    : agent(command.agent), uuid(command.uuid), digest(DigestOf(command)) {}

bool CommandKey::operator<(const CommandKey& other) const {
  return std::tie(agent, uuid, digest) < std::tie(other.agent, other.uuid, other.digest);
}

AnswerStore::AnswerStore(std::string path, const AnswerLimits& limits, Clock clock)
    : path_(path.empty() ? kInMemory : std::move(path)),
      limits_(limits),
      clock_(std::move(clock)) {}

void AnswerStore::Prepare() {
  if (limits_.count == 0 || database_) return;
  try {
    Open(path_);
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "cannot open answer file: %s", error.what());
    if (IsDamage(error)) {
      Recreate();
    } else if (error.code() == SQLITE_BUSY) {
      // The next access tries again.
      database_.reset();
      is_locked_ = true;
    } else {
      Open(kInMemory);
    }
  }
}

void AnswerStore::Store(const CommandKey& key, const Answer& answer) {
  Prepare();
  if (database_) RunWithRecovery([&] { Insert(key, answer); });
}

std::optional<Answer> AnswerStore::Find(const CommandKey& key) {
  Prepare();
  std::optional<Answer> answer;
  if (database_) RunWithRecovery([&] { answer = Load(key); });
  return answer;
}

void AnswerStore::Open(const std::string& path) {
  // SQLite would follow it and change a file that is not ours.
  std::error_code ignored;
  if (std::filesystem::is_symlink(path, ignored)) {
    throw sqlite::DatabaseError(path + ": a symbolic link", SQLITE_NOTADB);
  }
  database_.emplace(path, sqlite::Database::Mode::kCreate);
  database_->SetLockTimeout(is_locked_ ? kNoWait : kLockTimeout);
  database_->SetMaxValueSize(
      static_cast<int>(std::clamp<std::size_t>(limits_.bytes, kMaxSqlBytes, INT_MAX)));
  const bool has_table = HasTable();
  const std::size_t pages = std::max<std::size_t>(limits_.bytes / kPageBytes, 1);
  database_->Execute(("PRAGMA page_size = " + std::to_string(kPageBytes) +
                      "; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                      "PRAGMA max_page_count = " +
                      std::to_string(pages))
                         .c_str());
  if (!has_table) {
    sqlite::Transaction transaction(*database_);
    database_->Execute(kTable);
    database_->Execute(kIndex);
    transaction.Commit();
  }
  // Also detects a read-only file now rather than at the first answer.
  EvictOverLimits();
}

bool AnswerStore::HasTable() {
  // Queries would evaluate anything else that a foreign schema declares: views, triggers, generated
  // columns.
  bool has_table = false;
  auto query = database_->Prepare("SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL");
  while (query.Step()) {
    const std::string sql = query.Text(0);
    if (sql != kTable && sql != kTableWithIntegerDigests && sql != kIndex) {
      throw sqlite::DatabaseError(path_ + ": not an answer file", SQLITE_NOTADB);
    }
    has_table = true;
  }
  return has_table;
}

void AnswerStore::Recreate() {
  database_.reset();
  const std::string aside = path_ + ".corrupt";
  for (const char* part : {"-wal", "-shm"}) std::remove((path_ + part).c_str());
  if (std::rename(path_.c_str(), aside.c_str()) == 0) {
    dlog_print(DLOG_WARN, kLogTag, "moved damaged answer file to %s", aside.c_str());
  }
  try {
    Open(path_);
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "keeping answers in memory: %s", error.what());
    Open(kInMemory);
  }
}

void AnswerStore::RunWithRecovery(const std::function<void()>& action) {
  try {
    return action();
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "answer file error: %s", error.what());
    if (error.code() == SQLITE_BUSY) {
      is_locked_ = true;
      database_->SetLockTimeout(kNoWait);
    }
    if (!IsDamage(error)) return;
  }
  Recreate();
  try {
    action();
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "answer file error after recovery: %s", error.what());
  }
}

void AnswerStore::Insert(const CommandKey& key, const Answer& answer) {
  for (;;) {
    try {
      sqlite::Transaction transaction(*database_);
      database_
          ->Prepare(
              "INSERT OR REPLACE INTO answers (agent, uuid, digest, succeeded, text, time)"
              " VALUES (?1, ?2, ?3, ?4, ?5, ?6)")
          .Bind(1, key.agent)
          .Bind(2, key.uuid)
          .BindBytes(3, key.digest.data(), key.digest.size())
          .Bind(4, answer.succeeded ? 1 : 0)
          .Bind(5, answer.text)
          .Bind(6, clock_())
          .Step();
      EvictOverLimits();
      transaction.Commit();
      // Only a write shows that the lock is released: in WAL mode readers ignore writers' locks.
      if (std::exchange(is_locked_, false)) database_->SetLockTimeout(kLockTimeout);
      return;
    } catch (const sqlite::DatabaseError& error) {
      if (error.code() != SQLITE_FULL || !EvictOldestHalf()) throw;
    }
  }
}

void AnswerStore::EvictOverLimits() {
  database_->Prepare("DELETE FROM answers WHERE time < ?1").Bind(1, MinTime()).Step();
  // INSERT OR REPLACE assigns increasing row ids.
  database_->Prepare("DELETE FROM answers WHERE rowid <= (SELECT max(rowid) FROM answers) - ?1")
      .Bind(1, static_cast<std::int64_t>(limits_.count))
      .Step();
}

bool AnswerStore::EvictOldestHalf() {
  if (!database_->Prepare("SELECT 1 FROM answers LIMIT 1").Step()) return false;
  database_->Execute(
      "DELETE FROM answers WHERE rowid <="
      " ((SELECT min(rowid) FROM answers) + (SELECT max(rowid) FROM answers)) / 2");
  return true;
}

std::optional<Answer> AnswerStore::Load(const CommandKey& key) {
  // Earlier versions stored a 64-bit integer digest, which is not computed any more. Match those
  // answers by agent and uuid, so that an update of the SDK repeats no command.
  auto query = database_->Prepare(
      "SELECT succeeded, text FROM answers WHERE agent = ?1 AND uuid = ?2"
      " AND (digest = ?3 OR typeof(digest) = 'integer') AND time >= ?4"
      " ORDER BY digest DESC LIMIT 1");
  query.Bind(1, key.agent)
      .Bind(2, key.uuid)
      .BindBytes(3, key.digest.data(), key.digest.size())
      .Bind(4, MinTime());
  if (!query.Step()) return std::nullopt;
  return Answer{query.Number(0) != 0, query.Text(1)};
}

}  // namespace qor::internal
