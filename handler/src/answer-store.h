// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_ANSWER_STORE_H_
#define QOR_HANDLER_SRC_ANSWER_STORE_H_

#include <qor/handler.h>
#include <sqlite/database.h>

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "records.h"

namespace qor::internal {

// What tells commands apart. An agent that uses a uuid again for something else has made a new
// command, which the old answer does not fit.
struct CommandKey {
  using Digest = std::array<unsigned char, 32>;

  explicit CommandKey(const ReceivedCommand& command);
  bool operator<(const CommandKey& other) const;

  std::string agent;
  std::string uuid;
  // BLAKE2b of agent, uuid, type and payload, so that nobody can make two commands with one digest.
  Digest digest;
};

// The answers of the last commands, in a file. Never throws for the file's sake: what is wrong with
// it is logged, and less is remembered.
class AnswerStore {
 public:
  using Clock = std::function<std::int64_t()>;

  // An empty path keeps the answers in memory, a limit of no answers keeps none. The clock tells
  // seconds since the epoch.
  AnswerStore(std::string path, const AnswerLimits& limits, Clock clock);

  // Opens the file unless it is open. The functions below do so themselves; who calls this first
  // chooses the time.
  void Prepare();

  void Keep(const CommandKey& key, const Answer& answer);
  std::optional<Answer> Find(const CommandKey& key);

 private:
  void Open(const std::string& path);
  // Throws when anything else is in the file.
  bool HasTable();
  // Sets a damaged file aside and begins a new one; in memory where that fails too.
  void BeginAnew();
  // Runs an action on the database, once more after damage was repaired. Logs what fails.
  void Guard(const std::function<void()>& action);
  void Store(const CommandKey& key, const Answer& answer);
  void ForgetWhatIsOverTheLimits();
  // Makes room by about half; false when there was nothing to forget.
  bool ForgetOldestHalf();
  std::optional<Answer> Load(const CommandKey& key);
  std::int64_t OldestTime() const { return clock_() - limits_.age.count(); }

  const std::string path_;
  const AnswerLimits limits_;
  const Clock clock_;
  std::optional<sqlite::Database> database_;
  // By another process, when it was used last.
  bool is_locked_ = false;
};

}  // namespace qor::internal

#endif
