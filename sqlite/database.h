// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SQLITE_DATABASE_H_
#define SQLITE_DATABASE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>

struct sqlite3;
struct sqlite3_stmt;

namespace sqlite {

// A database that cannot be opened, read or written. The text names the file.
class DatabaseError : public std::runtime_error {
 public:
  explicit DatabaseError(const std::string& text, int code = 0)
      : std::runtime_error(text), code_(code) {}
  // SQLite's primary result code, 0 when the failure is not SQLite's.
  int code() const { return code_; }

 private:
  int code_;
};

// One run of a prepared statement. Ends, and gives the statement back, when it goes out of scope.
// Columns and parameters count as in SQLite: columns from 0, parameters from 1.
class Query {
 public:
  Query(sqlite3* database, sqlite3_stmt* statement);
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // Text and bytes must live until the query ends.
  Query& Bind(int parameter, const std::string& text);
  Query& BindBytes(int parameter, const void* bytes, size_t size);
  Query& Bind(int parameter, int64_t number);
  // Advances to the next row; false when there is none.
  bool Step();
  std::string Text(int column) const;
  int64_t Number(int column) const;

 private:
  sqlite3* database_;
  sqlite3_stmt* statement_;
};

// An open SQLite database with its prepared statements. Not safe for concurrent use.
class Database {
 public:
  // kImmutable: for reading a file that nobody changes in place. No lock is taken, so that no other
  // process delays a query, and what it may have in its files beside is not looked at.
  enum class Mode { kExisting, kCreate, kImmutable };

  Database(const std::string& file, Mode mode);

  // How long to wait for the locks of other processes; not at all unless it is set.
  void SetLockTimeout(std::chrono::milliseconds timeout);
  // The longest text or row; longer ones are errors (SQLITE_TOOBIG).
  void SetLongestValue(int bytes);

  // Prepares `sql` once and keeps it.
  Query Prepare(const std::string& sql);
  // Runs statements that give no rows.
  void Execute(const char* sql);

 private:
  friend class Transaction;
  struct Closer {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  std::unique_ptr<sqlite3, Closer> database_;
  std::unordered_map<std::string, std::unique_ptr<sqlite3_stmt, Closer>> statements_;
};

// One that writes. Rolls back unless committed.
class Transaction {
 public:
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  void Commit();

 private:
  Database& database_;
  bool open_ = true;
};

}  // namespace sqlite

#endif
