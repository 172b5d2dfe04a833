// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_JOURNAL_H_
#define QOR_AGENT_SRC_JOURNAL_H_

#include <functional>
#include <string>
#include <vector>

#include "clock.h"
#include "records.h"
#include "sqlite/database.h"

namespace qor::agent {

// What the scheduler needs of a place to keep commands.
class Store {
 public:
  virtual ~Store() = default;

  // Makes the commands' present state durable, those of `erased` as missing: all or, after an
  // Error, nothing.
  virtual void Write(const std::vector<const Command*>& changed,
                     const std::vector<std::int64_t>& erased) = 0;
};

// Commands in an SQLite file, which is locked while it is open. All that was written survives a
// power loss once Write() has returned: SQLite synchronizes its log with each transaction.
class Journal final : public Store {
 public:
  // Opens or creates the file. Throws Error.
  Journal(const std::string& path, const Clock& clock);

  // Calls `add` for each command, in order of submission. Throws Error when one is invalid.
  void Load(const std::function<void(Command)>& add);
  void Write(const std::vector<const Command*>& changed,
             const std::vector<std::int64_t>& erased) override;

 private:
  void Prepare();
  void CheckVersion();
  // After a boot, times since the boot before mean nothing.
  void AdoptBoot();
  void WriteRow(const Command& command);
  void OverwriteFailedCommit();

  const std::string path_;
  const Clock& clock_;
  sqlite::Database database_;
};

// Renames a damaged journal to PATH.damaged, with the log that SQLite keeps beside it. Throws
// Error.
void SetJournalAside(const std::string& path);

}  // namespace qor::agent

#endif
