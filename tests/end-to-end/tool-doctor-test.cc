// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <unistd.h>

#include <filesystem>

#include "end-to-end-test.h"
#include "example-copy.h"
#include "platform/linux/common/unix-socket.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class ToolDoctor : public EndToEndTest {
 protected:
  // Returns the report; expects the exit status.
  std::string Report(int exit_status, std::vector<std::string> options = {}) {
    options.insert(options.begin(), "doctor");
    const auto run = Qor(options);
    EXPECT_EQ(run.exit_status, exit_status) << run.output << run.errors;
    return run.output;
  }

  std::string PackageRoot(const std::string& package) {
    return fs::directory_iterator(Root() + "/packages/" + package)->path();
  }

  // A killed process leaves its socket behind.
  std::string LeaveSocket(const std::string& folder, const std::string& name) {
    fs::create_directories(Root() + "/" + folder);
    EXPECT_TRUE(platform::ListenAt(Root() + "/" + folder, name));
    return Root() + "/" + folder + "/" + name;
  }
};

TEST_F(ToolDoctor, PassesForAValidRoot) {
  Install("text");
  ASSERT_EQ(Qor({"send", "text.echo", "1"}).exit_status, 0);
  const std::string report = Report(0);
  EXPECT_THAT(report, Not(HasSubstr("warn")));
  EXPECT_THAT(report, HasSubstr("pass  handler org.example.text.handler: serves 7 request types "
                                "with priority 10\n"));
  EXPECT_THAT(report, HasSubstr("pass  no stale sockets\n"));
}

TEST_F(ToolDoctor, ChecksTheRootFolder) {
  EXPECT_THAT(Report(0), HasSubstr("pass  root folder " + Root() + " is private\n"));
  fs::permissions(Root(), fs::perms(0755));
  EXPECT_THAT(Report(0),
              HasSubstr("warn  root folder " + Root() +
                        " is accessible to other users\n      run: chmod 700 " + Root() + "\n"));
  for (const unsigned mode : {0770U, 0707U, 01777U}) {
    fs::permissions(Root(), fs::perms(mode));
    EXPECT_THAT(Report(1),
                HasSubstr("fail  root folder " + Root() + " is writable by other users"));
    EXPECT_NE(Qor({"package", "install", Packages() + "/text"}).exit_status, 0);
  }
  EXPECT_THAT(Report(1), HasSubstr("\n      set QOR_PLATFORM_ROOT to a folder of your own\n"));
  fs::permissions(Root(), fs::perms(0700));
  const std::string nested = Root() + "/parent/root";
  fs::create_directories(nested);
  fs::permissions(nested, fs::perms(0700));
  fs::permissions(Root() + "/parent", fs::perms(0777));
  setenv("QOR_PLATFORM_ROOT", nested.c_str(), 1);
  EXPECT_THAT(Report(1), HasSubstr("fail  root folder " + nested +
                                   " may be replaced by others, who may write to " + Root() +
                                   "/parent\n      run: chmod go-w " + Root() + "/parent\n"));
  setenv("QOR_PLATFORM_ROOT", (Root() + "/parent/missing").c_str(), 1);
  EXPECT_THAT(Report(1), HasSubstr("fail  root folder " + Root() + "/parent/missing may be"));
  setenv("QOR_PLATFORM_ROOT", (Root() + "/missing").c_str(), 1);
  EXPECT_THAT(Report(0), HasSubstr("does not exist (nothing installed yet)"));
  EXPECT_FALSE(fs::exists(Root() + "/missing"));
  std::ofstream(Root() + "/file") << "in the way";
  setenv("QOR_PLATFORM_ROOT", (Root() + "/file").c_str(), 1);
  EXPECT_THAT(Report(1), HasSubstr("fail  root folder " + Root() + "/file is not a folder\n"));
  setenv("QOR_PLATFORM_ROOT", (Root() + "/file/root").c_str(), 1);
  EXPECT_THAT(Report(1), HasSubstr("/file/root cannot be created in " + Root() + "/file\n"));
  setenv("QOR_PLATFORM_ROOT", Root().c_str(), 1);
}

TEST_F(ToolDoctor, NamesTheRootFolderWhenItIsMade) {
  const std::string made = "qor: created the root folder " + Root() + "/desk/root\n";
  fs::create_directory(Root() + "/desk");
  for (const char* command : {"handlers", "package install"}) {
    fs::remove_all(Root() + "/desk/root");
    const auto run = [&] {
      return tools::RunProcess(
          {"sh", "-c",
           "cd " + Root() + "/desk; QOR_PLATFORM_ROOT=root " + BuildFolder() + "/tools/qor/qor " +
               command + " " + (command[0] == 'p' ? Packages() + "/text" : "")},
          kTimeoutSeconds);
    };
    EXPECT_EQ(run().errors, made);
    EXPECT_EQ(run().errors, "");
  }
}

TEST_F(ToolDoctor, FindsStaleSocketsAndRemovesThemWithFix) {
  const std::vector<std::string> sockets = {
      LeaveSocket("run/ports/host.gone", "CommandHandler"),
      LeaveSocket("run/apps", "org.example.gone-" + std::to_string(getpid())),
      // Beyond the largest process id.
      LeaveSocket("run/events", "99999999")};
  const std::string report = Report(0);
  for (const auto& socket : sockets) {
    EXPECT_THAT(report, HasSubstr("warn  stale socket " + socket + ": no listener\n"));
    EXPECT_TRUE(fs::exists(socket));
  }
  const std::string fixed = Report(0, {"--fix"});
  for (const auto& socket : sockets) {
    EXPECT_THAT(fixed, HasSubstr("pass  removed stale socket " + socket + "\n"));
    EXPECT_FALSE(fs::exists(socket));
  }
  EXPECT_THAT(Report(0), HasSubstr("pass  no stale sockets\n"));
}

TEST_F(ToolDoctor, RemovesUnusedLockFilesOnly) {
  ASSERT_EQ(Qor({"handlers"}).exit_status, 0);
  StartAgent();
  const std::string unused = Root() + "/run/ports/host.qor/.CommandHandler.lock";
  const std::string used = Root() + "/run/ports/host.end-to-end-test/.CommandHandler.lock";
  ASSERT_TRUE(fs::exists(unused));
  EXPECT_THAT(Report(0), HasSubstr("pass  2 unused lock files (harmless)\n"));
  EXPECT_TRUE(fs::exists(unused));
  EXPECT_THAT(Report(0, {"--fix"}), HasSubstr("pass  2 unused lock files removed\n"));
  EXPECT_FALSE(fs::exists(unused));
  EXPECT_TRUE(fs::exists(used));
  EXPECT_TRUE(fs::exists(Root() + "/run/ports/host.end-to-end-test/CommandHandler"));
}

TEST_F(ToolDoctor, ListsRunningAgents) {
  StartAgent();
  EXPECT_THAT(Report(0),
              HasSubstr("pass  port CommandHandler of host.end-to-end-test is owned by process " +
                        std::to_string(getpid()) + ", "));
}

TEST_F(ToolDoctor, FindsAPackageWithAMissingFolderAndItsHintHelps) {
  Install("text");
  fs::remove_all(PackageRoot("org.example.text"));
  EXPECT_THAT(Report(1),
              HasSubstr("      qor package uninstall org.example.text, then install it again\n"));
  Uninstall("org.example.text");
  Report(0);
}

TEST_F(ToolDoctor, FindsLeftoversOfAnInterruptedInstallAndItsHintHelps) {
  Install("silent");
  const std::string staged = Root() + "/staging/123@org.example.gone";
  const std::string unknown = Root() + "/packages/org.example.gone/123";
  fs::create_directories(staged);
  fs::create_directories(unknown);
  const std::string report = Report(0);
  EXPECT_THAT(report,
              HasSubstr("warn  " + staged + " is a leftover of an interrupted operation\n"));
  EXPECT_THAT(report, HasSubstr("warn  " + unknown + " belongs to no installed package\n"));
  Install("text");
  EXPECT_THAT(Report(0), Not(HasSubstr("warn")));
}

TEST_F(ToolDoctor, FindsHandlersWithoutRequestTypes) {
  const ExampleCopy copy(Packages() + "/text", Root() + "/copy");
  copy.Write("res/handler.yaml", "request-types:\n  - a\n  - [b\n");
  ASSERT_EQ(Qor({"package", "install", copy.Path()}).exit_status, 0);
  EXPECT_THAT(Report(1),
              testing::ContainsRegex(
                  "fail  handler org.example.text.handler: .*/res/handler.yaml:4: invalid YAML"));
}

TEST_F(ToolDoctor, FindsAnUnreadableDatabase) {
  std::ofstream(Root() + "/packages.db") << std::string(5000, 'x');
  const std::string json = Report(1, {"--json"});
  EXPECT_THAT(json, HasSubstr("{\"level\":\"fail\",\"message\":\"" + Root() + "/packages.db"));
  EXPECT_THAT(json, HasSubstr("\"hint\":\"move the file away and install the packages again\""));
  fs::remove(Root() + "/packages.db");
}

}  // namespace
}  // namespace end_to_end
