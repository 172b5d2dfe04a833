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

// A thin wrapper of SQLite's C interface. SQLiteCpp would not replace it: a layer for the statement
// cache, the restrictions on untrusted schemas, immutable files, the size limit and the file name
// in errors would remain. Devices provide SQLite itself but not SQLiteCpp, which Debian offers only
// as a static library without the hardening options of this project.

namespace sqlite {

// A database cannot be opened, read or written. The message contains the file name.
class DatabaseError : public std::runtime_error {
 public:
  explicit DatabaseError(const std::string& text, int code = 0)
      : std::runtime_error(text), code_(code) {}
  // Returns SQLite's primary result code; 0 for other errors.
  int code() const { return code_; }

 private:
  int code_;
};

// One execution of a prepared statement. The destructor resets the statement for the next
// execution. As in SQLite, columns are counted from 0 and parameters from 1.
class Query {
 public:
  Query(sqlite3* database, sqlite3_stmt* statement);
  ~Query();
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  // Text and bytes are not copied and must outlive the query.
  Query& Bind(int parameter, const std::string& text);
  Query& BindBytes(int parameter, const void* bytes, std::size_t size);
  Query& Bind(int parameter, int64_t number);
  // Advances to the next row. Returns false if there is none.
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
  // kImmutable: for reading a file that is never modified in place. Takes no locks, so that other
  // processes cannot delay a query, and ignores journal and write-ahead log.
  enum class Mode { kExisting, kCreate, kImmutable };

  Database(const std::string& file, Mode mode);

  // Sets how long to wait for locks of other processes. The default is not to wait.
  void SetLockTimeout(std::chrono::milliseconds timeout);
  // Limits the size of texts and rows; larger ones are errors (SQLITE_TOOBIG).
  void SetMaxValueSize(int bytes);

  // Returns a query of `sql`. The prepared statement is cached.
  Query Prepare(const std::string& sql);
  // Executes statements that return no rows.
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

// A write transaction. Rolls back unless committed.
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
