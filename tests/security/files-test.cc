// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Unsafe folders and files in place of the platform's sockets and locks.

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "example-copy.h"
#include "platform/linux/common/package-database.h"
#include "security-test.h"

namespace security {
namespace {

namespace fs = std::filesystem;

class Files : public SecurityTest {
 protected:
  std::string PortFolder() const { return Root() + "/run/ports/" + AgentId(); }

  // Expects that no agent starts, and the cause in the log.
  void ExpectNoStart(const std::string& cause) {
    StopAgent();
    testing::internal::CaptureStderr();
    EXPECT_THROW(StartAgent(), std::runtime_error);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find(cause), std::string::npos) << log;
  }
};

TEST_F(Files, RootWritableByOthersIsRejected) {
  const std::string cause =
      "others may write to the root folder " + Root() + ", run: chmod 700 " + Root();
  for (const mode_t mode : {0720U, 0702U, 0777U}) {
    ASSERT_EQ(chmod(Root().c_str(), mode), 0);
    ExpectNoStart(cause);
    const auto install = Qor({"package", "install", Packages() + "/silent"});
    EXPECT_NE(install.exit_status, 0);
    EXPECT_NE(install.errors.find(cause), std::string::npos) << install.errors;
  }
  ASSERT_EQ(chmod(Root().c_str(), 0755), 0);
  StartAgent();
  ExpectHonestHandlerServes();
}

TEST_F(Files, RootReplaceableByOthersIsRejected) {
  StopAgent();
  const std::string parent = Root() + "/parent";
  fs::create_directory(parent);
  ASSERT_EQ(chmod(parent.c_str(), 0777), 0);
  setenv("QOR_PLATFORM_ROOT", (parent + "/root").c_str(), 1);
  const std::string cause = "others may replace the root folder " + parent +
                            "/root, since they may write to " + parent + ", run: chmod go-w " +
                            parent;
  ExpectNoStart(cause);
  const auto install = Qor({"package", "install", Packages() + "/silent"});
  EXPECT_NE(install.exit_status, 0);
  EXPECT_NE(install.errors.find(cause), std::string::npos) << install.errors;
  EXPECT_TRUE(fs::is_empty(parent));
  setenv("QOR_PLATFORM_ROOT", Root().c_str(), 1);
  StartAgent();
  ExpectHonestHandlerServes();
}

TEST_F(Files, RootOfAnotherUserIsRejected) {
  // Root can give a folder to another user; other users take a folder of root.
  const bool is_root = geteuid() == 0;
  const std::string root = is_root ? Root() : "/usr";
  const std::string owner = is_root ? "65534" : "0";
  if (is_root) {
    ASSERT_EQ(chown(root.c_str(), 65534, 65534), 0);
  }
  setenv("QOR_PLATFORM_ROOT", root.c_str(), 1);
  ExpectNoStart("the root folder " + root + " belongs to user " + owner +
                ", set QOR_PLATFORM_ROOT to a folder of your own");
  if (is_root) {
    ASSERT_EQ(chown(root.c_str(), 0, 0), 0);
  }
  setenv("QOR_PLATFORM_ROOT", Root().c_str(), 1);
}

TEST_F(Files, SymbolicLinksInPlaceOfFoldersAreRejected) {
  StopAgent();
  const std::string elsewhere = Root() + "/elsewhere";
  fs::create_directory(elsewhere);
  for (const std::string& folder : {PortFolder(), Root() + "/run/ports", Root() + "/run"}) {
    fs::rename(folder, folder + ".aside");
    fs::create_directory_symlink(elsewhere, folder);
    ExpectNoStart("folder " + folder + " is a symbolic link, remove it");
    EXPECT_TRUE(fs::is_empty(elsewhere));
    fs::remove(folder);
    fs::rename(folder + ".aside", folder);
  }
  StartAgent();
  ExpectHonestHandlerServes();
}

TEST_F(Files, FileInPlaceOfSocketIsReplaced) {
  const std::string socket = PortFolder() + "/CommandHandler";
  const std::string target = Root() + "/target";
  std::ofstream(target) << "text";
  for (const bool is_link : {false, true}) {
    StopAgent();
    fs::remove(socket);
    if (is_link) {
      fs::create_symlink(target, socket);
    } else {
      std::ofstream(socket) << "no socket";
    }
    StartAgent();
    EXPECT_TRUE(fs::is_socket(fs::symlink_status(socket)));
    ExpectHonestHandlerServes();
  }
  EXPECT_EQ(fs::file_size(target), 4u);
}

TEST_F(Files, LockIsNotCreatedThroughSymbolicLink) {
  StopAgent();
  const std::string lock = PortFolder() + "/.CommandHandler.lock";
  const std::string target = Root() + "/link-target";
  fs::remove(lock);
  fs::create_symlink(target, lock);
  ExpectNoStart("Cannot lock \"" + lock + "\"");
  EXPECT_FALSE(fs::exists(target));
  fs::remove(lock);
  StartAgent();
  ExpectHonestHandlerServes();
}

TEST_F(Files, ReplacedPortFolderRejectsOnlyNewConnections) {
  Peer attacker(InstallAttacker("org.example.attacker"));
  const std::string elsewhere = Root() + "/elsewhere";
  fs::create_directory(elsewhere);
  fs::rename(PortFolder(), PortFolder() + ".aside");
  fs::create_directory_symlink(elsewhere, PortFolder());
  // The connection of the honest handler already exists.
  ExpectHonestHandlerServes();
  EXPECT_EQ(Handshake(attacker), "no connection: Not a directory");
  fs::remove(PortFolder());
  fs::rename(PortFolder() + ".aside", PortFolder());
  EXPECT_EQ(Handshake(attacker), "accepted");
}

TEST_F(Files, ApplicationCannotUseNameOfAgent) {
  const end_to_end::ExampleCopy copy(Packages() + "/attacker", Root() + "/copy");
  copy.Replace("org.example.attacker.handler", AgentId());
  const auto install = Qor({"package", "install", copy.Path()});
  EXPECT_EQ(install.exit_status, 1);
  EXPECT_NE(install.errors.find("\"" + AgentId() + "\" is reserved"), std::string::npos)
      << install.errors;
  const auto check = Qor({"check", copy.Path()});
  EXPECT_EQ(check.exit_status, 1);
  EXPECT_NE(check.output.find("\"" + AgentId() + "\" is reserved"), std::string::npos)
      << check.output;
  EXPECT_FALSE(platform::FindPackage("org.example.attacker"));
  ExpectHonestHandlerServes();
}

}  // namespace
}  // namespace security
