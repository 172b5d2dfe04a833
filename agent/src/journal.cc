// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "journal.h"

#include <sqlite3.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "error.h"

namespace qor::agent {

namespace {

// "QorA" in the header of the file, where SQLite keeps a number for the program it belongs to.
constexpr std::int64_t kApplicationId = 0x516F7241;
constexpr std::int64_t kVersion = 1;
constexpr char kSetVersion[] = "PRAGMA user_version = 1";

constexpr char kSchema[] =
    "CREATE TABLE commands (sequence INTEGER PRIMARY KEY, uuid TEXT NOT NULL, type TEXT NOT NULL,"
    " payload TEXT NOT NULL, timestamp INTEGER NOT NULL, policy INTEGER NOT NULL,"
    " waits INTEGER NOT NULL, deadline_wall INTEGER NOT NULL, deadline_boot INTEGER NOT NULL,"
    " extended INTEGER NOT NULL, state INTEGER NOT NULL, kind INTEGER NOT NULL,"
    " reason INTEGER NOT NULL, status INTEGER NOT NULL, result TEXT NOT NULL,"
    " error TEXT NOT NULL, amendment INTEGER NOT NULL);"
    "CREATE TABLE boot (id TEXT NOT NULL);"
    "INSERT INTO boot VALUES ('');";

qor_agent_error_e CodeOf(const sqlite::DatabaseError& error) {
  switch (error.code()) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return QOR_AGENT_ERROR_BUSY;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:  // another schema
    case SQLITE_SCHEMA:
      return QOR_AGENT_ERROR_JOURNAL_DAMAGED;
    case SQLITE_FULL:
      return QOR_AGENT_ERROR_NO_SPACE;
    case SQLITE_NOMEM:
      return QOR_AGENT_ERROR_OUT_OF_MEMORY;
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return QOR_AGENT_ERROR_PERMISSION_DENIED;
    case SQLITE_READONLY:
      return QOR_AGENT_ERROR_READ_ONLY;
    default:
      return QOR_AGENT_ERROR_IO_ERROR;
  }
}

// SQLite reports a file that cannot be opened without the cause, which errno still has.
sqlite::Database OpenDatabase(const std::string& path) {
  errno = 0;
  try {
    return {path, sqlite::Database::Mode::kCreate};
  } catch (const sqlite::DatabaseError& error) {
    if (error.code() != SQLITE_CANTOPEN) throw Error(CodeOf(error), error.what());
    const int cause = errno;
    const qor_agent_error_e code = cause == EACCES || cause == EPERM
                                       ? QOR_AGENT_ERROR_PERMISSION_DENIED
                                   : cause == EROFS  ? QOR_AGENT_ERROR_READ_ONLY
                                   : cause == ENOSPC ? QOR_AGENT_ERROR_NO_SPACE
                                                     : QOR_AGENT_ERROR_IO_ERROR;
    throw Error(code, path + ": cannot open the journal: " +
                          (cause != 0 ? std::strerror(cause) : error.what()));
  }
}

// Runs `action`, whose database errors it turns into Error.
template <typename Action>
void Translate(Action action) {
  try {
    action();
  } catch (const sqlite::DatabaseError& error) {
    throw Error(CodeOf(error), error.what());
  }
}

// Throws Error unless the number is between `first` and `last`.
std::int64_t NumberAt(const sqlite::Query& query, int column, std::int64_t first, std::int64_t last,
                      const std::string& path) {
  const std::int64_t number = query.Number(column);
  if (number < first || number > last) {
    throw Error(QOR_AGENT_ERROR_JOURNAL_DAMAGED, path + ": invalid number in a command");
  }
  return number;
}

// Throws Error unless the number is an enumerator between 0 and `last`.
template <typename Enum>
Enum EnumeratorAt(const sqlite::Query& query, int column, Enum last, const std::string& path) {
  return static_cast<Enum>(NumberAt(query, column, 0, static_cast<std::int64_t>(last), path));
}

}  // namespace

Journal::Journal(const std::string& path, const Clock& clock)
    : path_(path), clock_(clock), database_(OpenDatabase(path)) {
  Translate([this] { Prepare(); });
}

void Journal::Prepare() {
  // Exclusive: the journal has one owner. Full: a transaction is on the disk when it returns.
  database_.Execute(
      "PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL;");
  // What a killed process wrote may be in the system's cache only, and must not be taken for
  // durable before it is: a checkpoint synchronizes it.
  database_.Execute("PRAGMA wal_checkpoint");
  sqlite::Transaction transaction(database_);
  CheckVersion();
  AdoptBoot();
  transaction.Commit();
}

void Journal::CheckVersion() {
  const auto pragma = [this](const char* name) {
    auto query = database_.Prepare(std::string("PRAGMA ") + name);
    return query.Step() ? query.Number(0) : 0;
  };
  const std::int64_t application = pragma("application_id");
  const std::int64_t version = pragma("user_version");
  const bool is_empty = !database_.Prepare("SELECT 1 FROM sqlite_schema").Step();
  if (is_empty) {
    database_.Execute(kSchema);
    database_.Execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
    database_.Execute(kSetVersion);
    return;
  }
  if (application != kApplicationId) {
    throw Error(QOR_AGENT_ERROR_JOURNAL_DAMAGED, path_ + ": not a journal");
  }
  if (version != kVersion) {
    throw Error(QOR_AGENT_ERROR_JOURNAL_VERSION,
                path_ + ": written by a newer version: format " + std::to_string(version) +
                    ", this version reads " + std::to_string(kVersion));
  }
}

void Journal::AdoptBoot() {
  const std::string boot_id = clock_.BootId();
  {
    auto query = database_.Prepare("SELECT id FROM boot");
    if (query.Step() && query.Text(0) == boot_id) return;
  }
  database_.Prepare("UPDATE boot SET id = ?1").Bind(1, boot_id).Step();
  database_.Prepare("UPDATE commands SET deadline_boot = deadline_wall + ?1")
      .Bind(1, clock_.SinceBoot() - clock_.Wall())
      .Step();
}

void Journal::Load(const std::function<void(Command)>& add) {
  Translate([&] {
    auto query = database_.Prepare(
        "SELECT sequence, uuid, type, payload, timestamp, policy, waits, deadline_wall,"
        " deadline_boot, extended, state, kind, reason, status, result, error, amendment"
        " FROM commands ORDER BY sequence");
    while (query.Step()) {
      Command command;
      command.sequence = NumberAt(query, 0, 0, kMaxMs, path_);
      command.uuid = query.Text(1);
      command.type = query.Text(2);
      command.payload = query.Text(3);
      command.timestamp = query.Number(4);
      command.policy = EnumeratorAt(query, 5, QOR_AGENT_AT_LEAST_ONCE, path_);
      command.waits_for_handler = query.Number(6) != 0;
      // A sum of a deadline and extensions may be above the limit of each.
      command.deadline_wall = NumberAt(query, 7, -3 * kMaxMs, 3 * kMaxMs, path_);
      command.deadline = NumberAt(query, 8, -3 * kMaxMs, 3 * kMaxMs, path_);
      command.extended_ms = NumberAt(query, 9, 0, 3 * kMaxMs, path_);
      command.state = EnumeratorAt(query, 10, State::kConfirmed, path_);
      command.outcome.kind = EnumeratorAt(query, 11, QOR_AGENT_UNKNOWN, path_);
      command.outcome.reason = EnumeratorAt(query, 12, QOR_AGENT_REASON_NOT_SENT, path_);
      command.outcome.status = static_cast<int>(query.Number(13));
      command.outcome.result = query.Text(14);
      command.outcome.error = query.Text(15);
      command.outcome.is_amendment = query.Number(16) != 0;
      add(std::move(command));
    }
  });
}

void Journal::Write(const std::vector<const Command*>& changed,
                    const std::vector<std::int64_t>& erased) {
  const auto write = [&] {
    sqlite::Transaction transaction(database_);
    for (const std::int64_t sequence : erased) {
      database_.Prepare("DELETE FROM commands WHERE sequence = ?1").Bind(1, sequence).Step();
    }
    for (const Command* command : changed) WriteRow(*command);
    transaction.Commit();
  };
  try {
    Translate(write);
  } catch (const Error&) {
    OverwriteFailedCommit();
    throw;
  }
}

// A commit that fails because the disk does not synchronize is complete in SQLite's log: after a
// crash it would count. The next transaction takes its place; SQLite writes a page for this one
// although the value stays the same.
void Journal::OverwriteFailedCommit() {
  try {
    database_.Execute(kSetVersion);
  } catch (const sqlite::DatabaseError&) {
    // Not synchronized either, but written over the failed one.
  }
}

void Journal::WriteRow(const Command& command) {
  const Outcome& outcome = command.outcome;
  // The texts of a command never change: an update leaves them where they are.
  database_
      .Prepare(
          "INSERT INTO commands VALUES"
          " (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17)"
          " ON CONFLICT (sequence) DO UPDATE SET deadline_wall = ?8, deadline_boot = ?9,"
          " extended = ?10, state = ?11, kind = ?12, reason = ?13, status = ?14, result = ?15,"
          " error = ?16, amendment = ?17")
      .Bind(1, command.sequence)
      .Bind(2, command.uuid)
      .Bind(3, command.type)
      .Bind(4, command.payload)
      .Bind(5, command.timestamp)
      .Bind(6, static_cast<std::int64_t>(command.policy))
      .Bind(7, command.waits_for_handler ? 1 : 0)
      .Bind(8, command.deadline_wall)
      .Bind(9, command.deadline)
      .Bind(10, command.extended_ms)
      .Bind(11, static_cast<std::int64_t>(command.state))
      .Bind(12, static_cast<std::int64_t>(outcome.kind))
      .Bind(13, static_cast<std::int64_t>(outcome.reason))
      .Bind(14, outcome.status)
      .Bind(15, outcome.result)
      .Bind(16, outcome.error)
      .Bind(17, outcome.is_amendment ? 1 : 0)
      .Step();
}

void SetJournalAside(const std::string& path) {
  // The log that belongs to the file, if there is one, first: with it SQLite would change the new
  // file.
  for (const char* part : {"-wal", ""}) {
    const std::string file = path + part;
    const std::string aside = path + ".damaged" + part;
    if (std::rename(file.c_str(), aside.c_str()) != 0 && errno != ENOENT) {
      throw Error(QOR_AGENT_ERROR_IO_ERROR,
                  file + ": cannot rename to " + aside + ": " + std::strerror(errno));
    }
  }
}

}  // namespace qor::agent
