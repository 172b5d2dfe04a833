// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "command-store.h"

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
// Commands in flight or suspended, and the answers of at-most-once commands (`succeeded` is null
// before), which must not be evicted for those of others.
constexpr char kRunsTable[] =
    "CREATE TABLE runs (agent TEXT, uuid TEXT, digest BLOB, unfinished INTEGER, state TEXT,"
    " succeeded INTEGER, text TEXT, time INTEGER, PRIMARY KEY (agent, uuid, digest))";
// Runs, and answers of at-most-once commands, are kept at least this long: longer than agents
// usually wait before they deliver a command again. Not only for a time: a device may start with a
// wrong clock, and what a step of the clock makes old would then be run again.
constexpr std::int64_t kMinRunAgeSeconds = 3600;
// The part of the file that is free when an at-most-once command begins, so that its answer can be
// stored.
constexpr std::int64_t kReservedShare = 4;

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

// The first three parameters of each statement about a command.
sqlite::Query& BindKey(sqlite::Query& query, const CommandKey& key) {
  return query.Bind(1, key.agent)
      .Bind(2, key.uuid)
      .BindBytes(3, key.digest.data(), key.digest.size());
}

sqlite::Query& BindKey(sqlite::Query&& query, const CommandKey& key) { return BindKey(query, key); }

}  // namespace

CommandKey::CommandKey(const ReceivedCommand& command)
    : agent(command.agent), uuid(command.uuid), digest(DigestOf(command)) {}

bool CommandKey::operator<(const CommandKey& other) const {
  return std::tie(agent, uuid, digest) < std::tie(other.agent, other.uuid, other.digest);
}

CommandStore::CommandStore(std::string path, const AnswerLimits& limits, Clock clock)
    : path_(path.empty() ? kInMemory : std::move(path)),
      limits_(limits),
      clock_(std::move(clock)) {}

void CommandStore::Prepare() {
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

StoredCommand CommandStore::Find(const CommandKey& key) {
  Prepare();
  if (is_in_memory_) ReturnToFile();
  StoredCommand stored;
  if (database_) RunWithRecovery([&] { stored = Load(key); });
  const auto unwritten = unwritten_.find(key);
  if (unwritten != unwritten_.end()) stored.answer = unwritten->second;
  return stored;
}

bool CommandStore::Begin(const CommandKey& key, Policy policy) {
  Prepare();
  const bool is_durable = policy == Policy::kAtMostOnce;
  const bool is_written =
      database_ && RunWithRecovery([&] {
        Write(is_durable, [&] {
          if (is_durable) RequireRoomForRun(key);
          BindKey(database_->Prepare("INSERT INTO runs (agent, uuid, digest, unfinished, time)"
                                     " VALUES (?1, ?2, ?3, 1, ?4) ON CONFLICT DO UPDATE"
                                     " SET unfinished = unfinished + 1, time = ?4"),
                  key)
              .Bind(4, clock_())
              .Step();
        });
      });
  return !is_durable || (is_written && !is_in_memory_);
}

void CommandStore::Withdraw(const CommandKey& key) {
  if (!database_) return;
  RunWithRecovery([&] {
    Write(false, [&] {
      BindKey(database_->Prepare("UPDATE runs SET unfinished = unfinished - 1"
                                 " WHERE agent = ?1 AND uuid = ?2 AND digest = ?3"),
              key)
          .Step();
    });
  });
}

bool CommandStore::Suspend(const CommandKey& key, const std::string& state) {
  Prepare();
  const bool is_written =
      database_ && RunWithRecovery([&] {
        Write(true, [&] {
          BindKey(
              database_->Prepare("INSERT INTO runs (agent, uuid, digest, unfinished, state, time)"
                                 " VALUES (?1, ?2, ?3, 0, ?4, ?5) ON CONFLICT DO UPDATE"
                                 " SET unfinished = 0, state = ?4, time = ?5"),
              key)
              .Bind(4, state)
              .Bind(5, clock_())
              .Step();
        });
      });
  return is_written && !is_in_memory_;
}

void CommandStore::Complete(const CommandKey& key, Policy policy, const Answer& answer) {
  Prepare();
  if (!database_) return;
  const bool is_written = RunWithRecovery([&] {
    if (policy == Policy::kAtLeastOnce) {
      Write(false, [&] {
        BindKey(
            database_->Prepare("DELETE FROM runs WHERE agent = ?1 AND uuid = ?2 AND digest = ?3"),
            key)
            .Step();
        InsertAnswer(key, answer);
        EvictOverLimits();
      });
      return;
    }
    Write(true, [&] {
      BindKey(database_->Prepare("INSERT OR REPLACE INTO runs (agent, uuid, digest, unfinished,"
                                 " succeeded, text, time) VALUES (?1, ?2, ?3, 0, ?4, ?5, ?6)"),
              key)
          .Bind(4, answer.succeeded ? 1 : 0)
          .Bind(5, answer.text)
          .Bind(6, clock_())
          .Step();
      EvictOverLimits();
    });
  });
  if (!is_written && policy == Policy::kAtMostOnce) KeepUnwritten(key, answer);
}

void CommandStore::KeepUnwritten(const CommandKey& key, const Answer& answer) {
  unwritten_bytes_ += answer.text.size();
  while (unwritten_bytes_ > limits_.bytes && !unwritten_.empty()) {
    unwritten_bytes_ -= unwritten_.begin()->second.text.size();
    unwritten_.erase(unwritten_.begin());
  }
  unwritten_.emplace(key, answer);
}

std::int64_t CommandStore::MaxPages() const {
  return static_cast<std::int64_t>(std::max<std::size_t>(limits_.bytes / kPageBytes, 1));
}

void CommandStore::Open(const std::string& path) {
  // SQLite would follow it and change a file that is not ours.
  std::error_code ignored;
  if (std::filesystem::is_symlink(path, ignored)) {
    throw sqlite::DatabaseError(path + ": a symbolic link", SQLITE_NOTADB);
  }
  database_.emplace(path, sqlite::Database::Mode::kCreate);
  database_->SetLockTimeout(is_locked_ ? kNoWait : kLockTimeout);
  database_->SetMaxValueSize(
      static_cast<int>(std::clamp<std::size_t>(limits_.bytes, kMaxSqlBytes, INT_MAX)));
  is_in_memory_ = path == kInMemory;
  const auto schema = CheckedSchema();
  database_->Execute(("PRAGMA page_size = " + std::to_string(kPageBytes) +
                      "; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                      "PRAGMA max_page_count = " +
                      std::to_string(MaxPages()))
                         .c_str());
  CreateMissing(schema);
  // What a killed process wrote may be in the system's cache only: a checkpoint synchronizes it,
  // before anything is sent that a power failure could take back.
  database_->Execute("PRAGMA wal_checkpoint");
  // Also detects a read-only file now rather than at the first answer.
  EvictOverLimits();
}

void CommandStore::ReturnToFile() {
  if (path_ == kInMemory) return;
  auto in_memory = std::move(database_);
  try {
    Open(path_);
  } catch (const sqlite::DatabaseError&) {
    database_ = std::move(in_memory);
    is_in_memory_ = true;
  }
}

std::set<std::string> CommandStore::CheckedSchema() {
  // Queries would evaluate anything else that a foreign schema declares: views, triggers, generated
  // columns.
  std::set<std::string> schema;
  auto query = database_->Prepare("SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL");
  while (query.Step()) {
    const std::string sql = query.Text(0);
    if (sql != kTable && sql != kTableWithIntegerDigests && sql != kIndex && sql != kRunsTable) {
      throw sqlite::DatabaseError(path_ + ": not an answer file", SQLITE_NOTADB);
    }
    schema.insert(sql);
  }
  return schema;
}

void CommandStore::CreateMissing(const std::set<std::string>& schema) {
  if (schema.count(kRunsTable) != 0) return;
  sqlite::Transaction transaction(*database_);
  if (schema.empty()) {
    database_->Execute(kTable);
    database_->Execute(kIndex);
  }
  // Versions before at-most-once commands did not have it.
  database_->Execute(kRunsTable);
  transaction.Commit();
}

void CommandStore::Recreate() {
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

bool CommandStore::RunWithRecovery(const std::function<void()>& action) {
  try {
    action();
    return true;
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "answer file error: %s", error.what());
    if (error.code() == SQLITE_BUSY) {
      is_locked_ = true;
      database_->SetLockTimeout(kNoWait);
    }
    if (!IsDamage(error)) return false;
  }
  Recreate();
  try {
    action();
    return true;
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "answer file error after recovery: %s", error.what());
    return false;
  }
}

void CommandStore::Write(bool is_durable, const std::function<void()>& changes) {
  database_->Execute(is_durable ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
  for (;;) {
    try {
      sqlite::Transaction transaction(*database_);
      changes();
      transaction.Commit();
      // Only a write shows that the lock is released: in WAL mode readers ignore writers' locks.
      if (std::exchange(is_locked_, false)) database_->SetLockTimeout(kLockTimeout);
      return;
    } catch (const sqlite::DatabaseError& error) {
      if (error.code() != SQLITE_FULL || !EvictOldestHalf()) throw;
    }
  }
}

void CommandStore::InsertAnswer(const CommandKey& key, const Answer& answer) {
  BindKey(database_->Prepare(
              "INSERT OR REPLACE INTO answers (agent, uuid, digest, succeeded, text, time)"
              " VALUES (?1, ?2, ?3, ?4, ?5, ?6)"),
          key)
      .Bind(4, answer.succeeded ? 1 : 0)
      .Bind(5, answer.text)
      .Bind(6, clock_())
      .Step();
}

void CommandStore::RequireRoomForRun(const CommandKey& key) {
  EvictOverLimits();
  auto query = database_->Prepare(
      "SELECT count(*) FROM runs WHERE NOT (agent = ?1 AND uuid = ?2 AND digest = ?3)");
  BindKey(query, key).Step();
  if (query.Number(0) >= static_cast<std::int64_t>(limits_.count)) {
    throw sqlite::DatabaseError(path_ + ": as many recent commands as the limit allows");
  }
  while (FreePages() < MaxPages() / kReservedShare) {
    if (!EvictOldestHalf()) throw sqlite::DatabaseError(path_ + ": full of recent commands");
  }
}

void CommandStore::EvictOverLimits() {
  database_->Prepare("DELETE FROM answers WHERE time < ?1").Bind(1, MinTime()).Step();
  // INSERT OR REPLACE assigns increasing row ids.
  database_->Prepare("DELETE FROM answers WHERE rowid <= (SELECT max(rowid) FROM answers) - ?1")
      .Bind(1, static_cast<std::int64_t>(limits_.count))
      .Step();
  EvictOldRuns("(SELECT max(rowid) FROM runs) - " + std::to_string(limits_.count - 1));
}

bool CommandStore::EvictOldRuns(const std::string& last_row) {
  const std::int64_t now = clock_();
  // Those of the future are older than the last step of the clock.
  database_->Prepare("DELETE FROM runs WHERE (time < ?1 OR time > ?2) AND rowid <= " + last_row)
      .Bind(1, now - kMinRunAgeSeconds)
      .Bind(2, now)
      .Step();
  auto deleted = database_->Prepare("SELECT changes()");
  return deleted.Step() && deleted.Number(0) > 0;
}

bool CommandStore::EvictOldestHalf() {
  if (!database_->Prepare("SELECT 1 FROM answers LIMIT 1").Step()) {
    // A full disk is no reason: that deletes nothing from it.
    return FillsItsSize() &&
           EvictOldRuns("((SELECT min(rowid) FROM runs) + (SELECT max(rowid) FROM runs)) / 2");
  }
  database_->Execute(
      "DELETE FROM answers WHERE rowid <="
      " ((SELECT min(rowid) FROM answers) + (SELECT max(rowid) FROM answers)) / 2");
  return true;
}

std::int64_t CommandStore::PagesOf(const char* pragma) {
  auto pages = database_->Prepare(pragma);
  return pages.Step() ? pages.Number(0) : 0;
}

// An answer that does not fit may be as long as the file.
bool CommandStore::FillsItsSize() { return PagesOf("PRAGMA page_count") >= MaxPages() / 2; }

std::int64_t CommandStore::FreePages() {
  return MaxPages() - PagesOf("PRAGMA page_count") + PagesOf("PRAGMA freelist_count");
}

StoredCommand CommandStore::Load(const CommandKey& key) {
  StoredCommand stored;
  {
    auto query = database_->Prepare(
        "SELECT unfinished, state, state IS NOT NULL, succeeded, text, succeeded IS NOT NULL"
        " FROM runs WHERE agent = ?1 AND uuid = ?2 AND digest = ?3");
    BindKey(query, key);
    if (query.Step()) {
      stored.unfinished_runs = query.Number(0);
      if (query.Number(2) != 0) stored.state = query.Text(1);
      if (query.Number(5) != 0) stored.answer = Answer{query.Number(3) != 0, query.Text(4)};
      return stored;
    }
  }
  stored.answer = LoadAnswer(key);
  return stored;
}

std::optional<Answer> CommandStore::LoadAnswer(const CommandKey& key) {
  // Earlier versions stored a 64-bit integer digest of an algorithm since removed. Match those
  // answers by agent and uuid, so that an update of the SDK repeats no command.
  auto query = database_->Prepare(
      "SELECT succeeded, text FROM answers WHERE agent = ?1 AND uuid = ?2"
      " AND (digest = ?3 OR typeof(digest) = 'integer') AND time >= ?4"
      " ORDER BY digest DESC LIMIT 1");
  BindKey(query, key).Bind(4, MinTime());
  if (!query.Step()) return std::nullopt;
  return Answer{query.Number(0) != 0, query.Text(1)};
}

}  // namespace qor::internal
