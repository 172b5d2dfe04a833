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

// Identifies a command. A uuid that an agent reuses with another type or payload is another
// command.
struct CommandKey {
  using Digest = std::array<unsigned char, 32>;

  explicit CommandKey(const ReceivedCommand& command);
  bool operator<(const CommandKey& other) const;

  std::string agent;
  std::string uuid;
  // BLAKE2b of agent, uuid, type and payload: cryptographic, so that an agent cannot craft two
  // commands with the same digest.
  Digest digest;
};

// The answers of recent commands, in a SQLite file. File errors are logged, not thrown: an answer
// that cannot be stored is lost to later look-ups, which then find nothing.
class AnswerStore {
 public:
  using Clock = std::function<std::int64_t()>;

  // An empty path stores the answers in memory; a limit of 0 answers stores none. The clock returns
  // seconds since the epoch. Touches no file yet.
  AnswerStore(std::string path, const AnswerLimits& limits, Clock clock);

  // Opens the file unless it is open. The functions below do the same; call this first to choose
  // when.
  void Prepare();

  void Store(const CommandKey& key, const Answer& answer);
  std::optional<Answer> Find(const CommandKey& key);

 private:
  void Open(const std::string& path);
  // Returns false for a new file. Throws when the schema is not this class's.
  bool HasTable();
  // Renames a damaged file and creates a new one; continues in memory when that fails too.
  void Recreate();
  // Runs an action on the database. Recreates a damaged file and runs the action once more; logs
  // every other error.
  void RunWithRecovery(const std::function<void()>& action);
  void Insert(const CommandKey& key, const Answer& answer);
  void EvictOverLimits();
  // Deletes about half of the answers. Returns false when there are none.
  bool EvictOldestHalf();
  std::optional<Answer> Load(const CommandKey& key);
  std::int64_t MinTime() const { return clock_() - limits_.age.count(); }

  const std::string path_;
  const AnswerLimits limits_;
  const Clock clock_;
  std::optional<sqlite::Database> database_;
  // Whether another process held the lock at the last access.
  bool is_locked_ = false;
};

}  // namespace qor::internal

#endif
