// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Invalid and locked files in place of a handler's stored answers.

#include <sqlite/database.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "end-to-end-test.h"

namespace security {
namespace {

namespace fs = std::filesystem;

class AnswerFiles : public end_to_end::EndToEndTest {
 protected:
  AnswerFiles() {
    Install("text");
    StartAgent();
    // The first start of the handler creates its data folder.
    EXPECT_EQ(Execute("first", "text.echo", "1").result, "1");
  }

  std::string File() const { return Root() + "/data/org.example.text.handler/.qor-answers.db"; }

  // Expects the handler to execute commands after a new launch.
  void ExpectService(const std::string& description) {
    for (const char* number : {"2", "3"}) {
      EXPECT_EQ(Execute(description + number, "text.echo", number).result, number) << description;
    }
  }
  void ReinstallHandler() {
    Uninstall("org.example.text");
    Install("text");
    fs::create_directories(fs::path(File()).parent_path());
    for (const char* part : {"", "-wal", "-shm", ".corrupt"}) fs::remove_all(File() + part);
  }
};

TEST_F(AnswerFiles, InvalidFilesDoNotStopTheHandler) {
  const auto execute = [this](const char* sql) {
    return [this, sql] { sqlite::Database(File(), sqlite::Database::Mode::kCreate).Execute(sql); };
  };
  const std::pair<const char*, std::function<void()>> cases[] = {
      {"another table", execute("CREATE TABLE answers (x)")},
      {"endless view", execute("CREATE VIEW answers AS WITH RECURSIVE n(x) AS (SELECT 1 UNION ALL"
                               " SELECT x FROM n) SELECT x AS time FROM n")},
      {"large column", execute("CREATE TABLE answers (agent TEXT, uuid TEXT, digest BLOB, succeeded"
                               " INTEGER, text TEXT AS (hex(zeroblob(400000000))), time INTEGER)")},
      {"folder", [this] { fs::create_directory(File()); }},
      {"pipe", [this] { mkfifo(File().c_str(), 0600); }},
      {"broken link", [this] { fs::create_symlink("/no/such/file", File()); }},
      {"device", [this] { fs::create_symlink("/dev/zero", File()); }},
      {"no rights",
       [this] {
         const std::ofstream file(File());
         chmod(File().c_str(), 0);
       }},
      {"sparse",
       [this] {
         std::ofstream(File()) << "SQLite format 3";
         fs::resize_file(File(), std::uintmax_t{1} << 40);
       }},
  };
  for (const auto& [description, make] : cases) {
    ReinstallHandler();
    make();
    ExpectService(description);
  }
}

TEST_F(AnswerFiles, LockHeldByAnotherProcessDelaysHandlerOnce) {
  ReinstallHandler();
  ExpectService("before");
  {
    sqlite::Database other(File(), sqlite::Database::Mode::kExisting);
    const sqlite::Transaction lock(other);
    // Waiting for the lock with each answer would exceed the time limit of the test.
    for (int i = 0; i < 500; ++i) {
      const std::string uuid = "locked-" + std::to_string(i);
      ASSERT_EQ(Execute(uuid, "text.echo", "1").result, "1") << i;
    }
  }
  ExpectService("after");
}

TEST_F(AnswerFiles, LockHeldBeforeStartDelaysHandlerOnce) {
  ReinstallHandler();
  sqlite::Database other(File(), sqlite::Database::Mode::kCreate);
  other.Execute("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE");
  for (int i = 0; i < 500; ++i) {
    const std::string uuid = "locked-" + std::to_string(i);
    ASSERT_EQ(Execute(uuid, "text.echo", "1").result, "1") << i;
  }
}

}  // namespace
}  // namespace security
