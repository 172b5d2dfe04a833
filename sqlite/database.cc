// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "sqlite/database.h"

#include <sqlite3.h>

namespace sqlite {
namespace {

[[noreturn]] void ThrowError(sqlite3* database) {
  const char* file = sqlite3_db_filename(database, "main");
  throw DatabaseError(
      std::string(file == nullptr ? "database" : file) + ": " + sqlite3_errmsg(database),
      sqlite3_errcode(database) & 0xff);
}

// The file may be corrupt or malicious: triggers, views and functions of its schema must not run in
// queries.
void DisableSchemaCode(sqlite3* database) {
  for (const int option : {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW,
                           SQLITE_DBCONFIG_TRUSTED_SCHEMA}) {
    sqlite3_db_config(database, option, 0, nullptr);
  }
}

std::string ImmutableUri(const std::string& file) {
  std::string uri = "file:";
  for (const char c : file) {
    if (c == '%' || c == '?' || c == '#') {
      uri += c == '%' ? "%25" : c == '?' ? "%3f" : "%23";
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

}  // namespace

Query::Query(sqlite3* database, sqlite3_stmt* statement)
    : database_(database), statement_(statement) {}

Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

Query& Query::Bind(int parameter, const std::string& text) {
  if (sqlite3_bind_text64(statement_, parameter, text.data(), text.size(), SQLITE_STATIC,
                          SQLITE_UTF8) != SQLITE_OK)
    ThrowError(database_);
  return *this;
}

Query& Query::BindBytes(int parameter, const void* bytes, std::size_t size) {
  if (sqlite3_bind_blob64(statement_, parameter, bytes, size, SQLITE_STATIC) != SQLITE_OK)
    ThrowError(database_);
  return *this;
}

Query& Query::Bind(int parameter, int64_t number) {
  if (sqlite3_bind_int64(statement_, parameter, number) != SQLITE_OK) ThrowError(database_);
  return *this;
}

bool Query::Step() {
  const int result = sqlite3_step(statement_);
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) ThrowError(database_);
  return false;
}

std::string Query::Text(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

int64_t Query::Number(int column) const { return sqlite3_column_int64(statement_, column); }

void Database::Closer::operator()(sqlite3* database) const { sqlite3_close_v2(database); }
void Database::Closer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Database::Database(const std::string& file, Mode mode) {
  const bool is_immutable = mode == Mode::kImmutable;
  const int flags =
      SQLITE_OPEN_NOMUTEX |
      (is_immutable ? SQLITE_OPEN_READONLY | SQLITE_OPEN_URI : SQLITE_OPEN_READWRITE) |
      (mode == Mode::kCreate ? SQLITE_OPEN_CREATE : 0);
  const std::string name = is_immutable ? ImmutableUri(file) : file;
  sqlite3* opened = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &opened, flags, nullptr);
  database_.reset(opened);
  if (result != SQLITE_OK) throw DatabaseError(file + ": " + sqlite3_errstr(result), result & 0xff);
  DisableSchemaCode(opened);
}

void Database::SetLockTimeout(std::chrono::milliseconds timeout) {
  sqlite3_busy_timeout(database_.get(), static_cast<int>(timeout.count()));
}

void Database::SetMaxValueSize(int bytes) {
  sqlite3_limit(database_.get(), SQLITE_LIMIT_LENGTH, bytes);
}

Query Database::Prepare(const std::string& sql) {
  auto& statement = statements_[sql];
  if (statement == nullptr) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(database_.get(), sql.c_str(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK)
      ThrowError(database_.get());
    statement.reset(prepared);
  }
  return {database_.get(), statement.get()};
}

void Database::Execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
    ThrowError(database_.get());
}

Transaction::Transaction(Database& database) : database_(database) {
  database_.Prepare("BEGIN IMMEDIATE").Step();
}

Transaction::~Transaction() {
  // Fails if SQLite has already rolled back because of an error.
  if (open_) sqlite3_exec(database_.database_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::Commit() {
  database_.Prepare("COMMIT").Step();
  open_ = false;
}

}  // namespace sqlite
