// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "answer-store.h"

#include <sodium.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

constexpr char kInMemory[] = ":memory:";
constexpr std::size_t kPageBytes = 4096;

void Add(crypto_generichash_state& state, const std::string& text) {
  crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(text.data()),
                            text.size());
}

CommandKey::Digest DigestOf(const ReceivedCommand& command) {
  // Selects the fastest code of this processor. Without it the portable one runs.
  [[maybe_unused]] static const int initialized = sodium_init();
  crypto_generichash_state state;
  CommandKey::Digest digest;
  crypto_generichash_init(&state, nullptr, 0, digest.size());
  for (const std::string* text : {&command.agent, &command.uuid, &command.type, &command.payload}) {
    // The length separates each text from the next.
    Add(state, std::to_string(text->size()) + ':');
    Add(state, *text);
  }
  crypto_generichash_final(&state, digest.data(), digest.size());
  return digest;
}

bool IsDamage(const sqlite::DatabaseError& error) {
  return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB ||
         // The file holds something else under our table's name.
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
    dlog_print(DLOG_WARN, kLogTag, "the file of answers cannot be used: %s", error.what());
    if (IsDamage(error)) {
      BeginAnew();
    } else {
      Open(kInMemory);
    }
  }
}

void AnswerStore::Keep(const CommandKey& key, const Answer& answer) {
  Prepare();
  if (database_) Guard([&] { Store(key, answer); });
}

std::optional<Answer> AnswerStore::Find(const CommandKey& key) {
  Prepare();
  std::optional<Answer> answer;
  if (database_) Guard([&] { answer = Load(key); });
  return answer;
}

void AnswerStore::Open(const std::string& path) {
  database_.emplace(path, sqlite::Database::Mode::kCreate);
  const std::size_t pages = std::max<std::size_t>(limits_.bytes / kPageBytes, 1);
  database_->Execute(("PRAGMA page_size = " + std::to_string(kPageBytes) +
                      "; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
                      "PRAGMA max_page_count = " +
                      std::to_string(pages) +
                      ";"
                      "CREATE TABLE IF NOT EXISTS answers (agent TEXT, uuid TEXT, digest BLOB,"
                      " succeeded INTEGER, text TEXT, time INTEGER,"
                      " PRIMARY KEY (agent, uuid, digest));"
                      "CREATE INDEX IF NOT EXISTS answers_time ON answers (time)")
                         .c_str());
  // Tells at once of a file that cannot be written.
  ForgetWhatIsOverTheLimits();
}

void AnswerStore::BeginAnew() {
  database_.reset();
  const std::string aside = path_ + ".corrupt";
  for (const char* part : {"-wal", "-shm"}) std::remove((path_ + part).c_str());
  if (std::rename(path_.c_str(), aside.c_str()) == 0) {
    dlog_print(DLOG_WARN, kLogTag, "it is set aside as %s and begun anew", aside.c_str());
  }
  try {
    Open(path_);
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "answers are kept in memory: %s", error.what());
    Open(kInMemory);
  }
}

void AnswerStore::Guard(const std::function<void()>& action) {
  try {
    return action();
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "the file of answers fails: %s", error.what());
    if (!IsDamage(error)) return;
  }
  BeginAnew();
  try {
    action();
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_WARN, kLogTag, "and fails again: %s", error.what());
  }
}

void AnswerStore::Store(const CommandKey& key, const Answer& answer) {
  for (;;) {
    try {
      sqlite::Transaction transaction(*database_, sqlite::Transaction::Kind::kWrite);
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
      ForgetWhatIsOverTheLimits();
      transaction.Commit();
      return;
    } catch (const sqlite::DatabaseError& error) {
      if (error.code() != SQLITE_FULL || !ForgetOldestHalf()) throw;
    }
  }
}

void AnswerStore::ForgetWhatIsOverTheLimits() {
  database_->Prepare("DELETE FROM answers WHERE time < ?1").Bind(1, OldestTime()).Step();
  // Later answers have higher row numbers.
  database_->Prepare("DELETE FROM answers WHERE rowid <= (SELECT max(rowid) FROM answers) - ?1")
      .Bind(1, static_cast<std::int64_t>(limits_.count))
      .Step();
}

bool AnswerStore::ForgetOldestHalf() {
  if (!database_->Prepare("SELECT 1 FROM answers LIMIT 1").Step()) return false;
  database_->Execute(
      "DELETE FROM answers WHERE rowid <="
      " ((SELECT min(rowid) FROM answers) + (SELECT max(rowid) FROM answers)) / 2");
  return true;
}

std::optional<Answer> AnswerStore::Load(const CommandKey& key) {
  // Versions before the cryptographic digest stored an integer, which does not tell payloads apart.
  // Those answers are matched by agent and uuid, so that an update of the SDK repeats no command.
  auto query = database_->Prepare(
      "SELECT succeeded, text FROM answers WHERE agent = ?1 AND uuid = ?2"
      " AND (digest = ?3 OR typeof(digest) = 'integer') AND time >= ?4"
      " ORDER BY digest DESC LIMIT 1");
  query.Bind(1, key.agent)
      .Bind(2, key.uuid)
      .BindBytes(3, key.digest.data(), key.digest.size())
      .Bind(4, OldestTime());
  if (!query.Step()) return std::nullopt;
  return Answer{query.Number(0) != 0, query.Text(1)};
}

}  // namespace qor::internal
