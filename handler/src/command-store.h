// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_COMMAND_STORE_H_
#define QOR_HANDLER_SRC_COMMAND_STORE_H_

#include <qor/handler.h>
#include <sqlite/database.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
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

// What is stored of a command.
struct StoredCommand {
  std::optional<Answer> answer;
  // Runs that ended neither with an answer nor with Suspend(): with the process, unless one goes
  // on.
  std::int64_t unfinished_runs = 0;
  // Of Suspend().
  std::optional<std::string> state;
};

// The runs and answers of recent commands, in a SQLite file. File errors are logged, not thrown:
// what cannot be stored is lost to later look-ups, which then find nothing. What at-most-once
// commands need is synchronized with the disk; only a damaged file loses it, with a log line.
class CommandStore {
 public:
  using Clock = std::function<std::int64_t()>;

  // An empty path stores the answers in memory; a limit of 0 answers stores none. The clock returns
  // seconds since the epoch. Touches no file yet.
  CommandStore(std::string path, const AnswerLimits& limits, Clock clock);

  // Opens the file unless it is open. The functions below do the same; call this first to choose
  // when.
  void Prepare();

  StoredCommand Find(const CommandKey& key);
  // A run begins. At-most-once: returns whether that is on the disk.
  bool Begin(const CommandKey& key, Policy policy);
  // A run ends with the process, which exits without the command's fault.
  void Withdraw(const CommandKey& key);
  // Returns whether the state is on the disk.
  bool Suspend(const CommandKey& key, const std::string& state);
  // A run ends with an answer.
  void Complete(const CommandKey& key, Policy policy, const Answer& answer);

 private:
  void Open(const std::string& path);
  // The file could not be opened, for example on a full disk. What is in memory is lost when it can
  // now. Only before a look-up: what the file has of a command must be known when it begins.
  void ReturnToFile();
  // Returns the SQL of the tables and indexes in the file. Throws when another program made one.
  std::set<std::string> CheckedSchema();
  void CreateMissing(const std::set<std::string>& schema);
  // Renames a damaged file and creates a new one; continues in memory when that fails too.
  void Recreate();
  // Runs an action on the database. Recreates a damaged file and runs the action once more; logs
  // every other error.
  // Returns whether it succeeded.
  bool RunWithRecovery(const std::function<void()>& action);
  // One transaction, evicting answers while the file is full. `is_durable`: synchronized with the
  // disk.
  void Write(bool is_durable, const std::function<void()>& changes);
  void InsertAnswer(const CommandKey& key, const Answer& answer);
  // Throws when the runs of other commands reach a limit.
  void RequireRoomForRun(const CommandKey& key);
  void EvictOverLimits();
  // Whether the file, rather than the disk, may be full.
  bool FillsItsSize();
  // Of the limit of bytes.
  std::int64_t FreePages();
  std::int64_t PagesOf(const char* pragma);
  std::int64_t MaxPages() const;
  // Keeps an answer that the file does not take, within the limit of bytes.
  void KeepUnwritten(const CommandKey& key, const Answer& answer);
  // Deletes those up to an SQL expression for a row that are older than agents usually wait.
  // Returns whether there were any.
  bool EvictOldRuns(const std::string& last_row);
  // Deletes about half of the answers, of at-most-once commands last. Returns false when there are
  // none that may be deleted.
  bool EvictOldestHalf();
  StoredCommand Load(const CommandKey& key);
  std::optional<Answer> LoadAnswer(const CommandKey& key);
  std::int64_t MinTime() const { return clock_() - limits_.age.count(); }

  const std::string path_;
  const AnswerLimits limits_;
  const Clock clock_;
  std::optional<sqlite::Database> database_;
  bool is_in_memory_ = false;
  // Of at-most-once commands that have begun in the file: without them a redelivered one would be
  // taken for interrupted while this process lives.
  std::map<CommandKey, Answer> unwritten_;
  std::size_t unwritten_bytes_ = 0;
  // Whether another process held the lock at the last access.
  bool is_locked_ = false;
};

}  // namespace qor::internal

#endif
