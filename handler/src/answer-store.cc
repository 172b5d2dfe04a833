// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "answer-store.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <tuple>
#include <utility>

#include "log.h"

namespace qor::internal {

namespace {

constexpr char kInMemory[] = ":memory:";
constexpr std::size_t kPageBytes = 4096;

// In the manner of FNV-1a, eight bytes at a time because payloads may be long, and rotated because
// a product passes nothing on from its upper bits to its lower ones.
std::uint64_t Mix(std::uint64_t digest, std::uint64_t word) {
  constexpr std::uint64_t kGoldenRatio = 0x9e3779b97f4a7c15;
  digest ^= word;
  return (digest << 29 | digest >> 35) * kGoldenRatio;
}

// Several digests side by side: each step waits for the one before it only in its own lane.
std::int64_t Digest(const std::string& type, const std::string& payload) {
  using Word = std::uint64_t;
  std::array<Word, 4> lanes = {0xcbf29ce484222325, 1, 2, 3};
  for (const std::string* text : {&type, &payload}) {
    const char* rest = text->data();
    const char* const end = rest + text->size();
    for (; end - rest >= static_cast<std::ptrdiff_t>(sizeof lanes); rest += sizeof lanes) {
      for (std::size_t i = 0; i < lanes.size(); ++i) {
        Word word;
        std::memcpy(&word, rest + i * sizeof word, sizeof word);
        lanes[i] = Mix(lanes[i], word);
      }
    }
    std::array<Word, lanes.size()> words = {};
    std::memcpy(words.data(), rest, static_cast<std::size_t>(end - rest));
    for (const Word word : words) lanes[0] = Mix(lanes[0], word);
    // Where the type ends and the payload begins counts too.
    lanes[0] = Mix(lanes[0], text->size());
  }
  Word digest = 0;
  for (const Word lane : lanes) digest = Mix(digest, lane);
  return static_cast<std::int64_t>(digest);
}

bool IsDamage(const sqlite::DatabaseError& error) {
  return error.code() == SQLITE_CORRUPT || error.code() == SQLITE_NOTADB ||
         // The file holds something else under our table's name.
         error.code() == SQLITE_ERROR;
}

}  // namespace

CommandKey::CommandKey(const ReceivedCommand& command)
    : agent(command.agent), uuid(command.uuid), digest(Digest(command.type, command.payload)) {}

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
                      "CREATE TABLE IF NOT EXISTS answers (agent TEXT, uuid TEXT, digest INTEGER,"
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
      sqlite::Transaction transaction(*database_);
      database_
          ->Prepare(
              "INSERT OR REPLACE INTO answers (agent, uuid, digest, succeeded, text, time)"
              " VALUES (?1, ?2, ?3, ?4, ?5, ?6)")
          .Bind(1, key.agent)
          .Bind(2, key.uuid)
          .Bind(3, key.digest)
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
  auto query = database_->Prepare(
      "SELECT succeeded, text FROM answers"
      " WHERE agent = ?1 AND uuid = ?2 AND digest = ?3 AND time >= ?4");
  query.Bind(1, key.agent).Bind(2, key.uuid).Bind(3, key.digest).Bind(4, OldestTime());
  if (!query.Step()) return std::nullopt;
  return Answer{query.Number(0) != 0, query.Text(1)};
}

}  // namespace qor::internal
