// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "leak-check.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/tests/support/child-process.h"

namespace chaos {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class LeakCheckTest : public testing::Test {
 protected:
  LeakCheckTest() : root_(fs::temp_directory_path() / "qor-leaks-XXXXXX") {
    root_ = mkdtemp(root_.data());
    for (const char* folder :
         {"run/apps", "run/ports/host.agent", "data/host.agent", "staging", "logs"})
      fs::create_directories(root_ + "/" + folder);
    for (const char* file : {"packages.db", "install.lock", "run/ports/host.agent/.Port.lock",
                             "data/host.agent/.qor-handlers.db", "logs/org.example.app.log"})
      Write(file);
  }
  ~LeakCheckTest() override { fs::remove_all(root_); }

  void Write(const std::string& file) const { std::ofstream(root_ + "/" + file) << "x"; }

  std::string root_;
};

TEST_F(LeakCheckTest, IgnoresPermanentFiles) { EXPECT_THAT(FindLeaks(root_), IsEmpty()); }

TEST_F(LeakCheckTest, ReportsSocketsFilesAndHeldLocks) {
  const auto socket = platform::ListenAt(root_ + "/run/ports/host.agent", "Port");
  const auto lock = platform::LockFile(root_ + "/install.lock");
  Write("staging/half");
  EXPECT_THAT(FindLeaks(root_),
              UnorderedElementsAre("socket run/ports/host.agent/Port", "held lock install.lock",
                                   "file staging/half"));
}

TEST_F(LeakCheckTest, ReportsProcesses) {
  const std::string program = root_ + "/program";
  fs::copy_file("/bin/cat", program);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  // Returns when the process has executed the program.
  const pid_t pid = platform::test::StartChildProcess({program}, {}, "/dev/null", ends[0]);
  EXPECT_THAT(FindLeaks(root_),
              UnorderedElementsAre("file program", "process " + std::to_string(pid)));
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
  EXPECT_THAT(FindLeaks(root_), ElementsAre("file program"));
}

}  // namespace
}  // namespace chaos
