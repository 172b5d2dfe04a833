// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <fstream>
#include <sstream>

#include "end-to-end-test.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;

class Registry : public EndToEndTest {
 protected:
  // Copies an example package, so that the test can modify it.
  std::string CopyOf(const std::string& example) {
    const std::string copy = Root() + "/copy-of-" + example;
    fs::copy(Packages() + "/" + example, copy, fs::copy_options::recursive);
    return copy;
  }
};

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST_F(Registry, ListsTheInstalledHandlersWithTheirRequestTypes) {
  Install("text");
  Install("silent");
  StartAgent();
  const auto handlers = tools::ListHandlers();
  ASSERT_EQ(handlers.size(), 2u);
  EXPECT_EQ(handlers[0].app_id, "org.example.silent.handler");
  EXPECT_EQ(handlers[0].request_types, std::vector<std::string>{"silence.keep"});
  EXPECT_EQ(handlers[1].app_id, "org.example.text.handler");
}

TEST_F(Registry, NotifiesTheClientOfAnInstallAndServesTheNewTypes) {
  auto& agent = StartAgent();
  Install("text");
  ASSERT_TRUE(AwaitUpdates(1));
  EXPECT_EQ(agent.Updates()[0].type, QOR_HANDLER_UPDATE_ADDED);
  EXPECT_EQ(agent.Updates()[0].handler.app_id, "org.example.text.handler");
  EXPECT_EQ(Execute("one", "text.echo", "x").result, "x");
}

TEST_F(Registry, PrefersTheHigherPriorityUntilItIsUninstalled) {
  Install("text");
  StartAgent();
  Install("text-preferred");
  ASSERT_TRUE(AwaitUpdates(1));
  EXPECT_NE(Execute("one", "text.upper").result.find("org.example.preferred"), std::string::npos);
  Uninstall("org.example.preferred");
  ASSERT_TRUE(AwaitUpdates(2));
  EXPECT_NE(Execute("two", "text.upper").result.find("org.example.text"), std::string::npos);
}

TEST_F(Registry, FollowsAnUpdateThatChangesTheRequestTypes) {
  Install("text");
  auto& agent = StartAgent();
  ASSERT_EQ(Execute("one", "text.echo", "x").result, "x");
  Install("text-2");
  ASSERT_TRUE(AwaitUpdates(1));
  EXPECT_EQ(agent.Updates()[0].type, QOR_HANDLER_UPDATE_UPDATED);
  EXPECT_EQ(agent.Send("two", "text.reject", ""), QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
  EXPECT_NE(Execute("three", "text.translate").error.find("no function for request type"),
            std::string::npos);
}

TEST_F(Registry, RemovesAnUninstalledHandler) {
  Install("text");
  auto& agent = StartAgent();
  Uninstall("org.example.text");
  ASSERT_TRUE(AwaitUpdates(1));
  EXPECT_EQ(agent.Updates()[0].type, QOR_HANDLER_UPDATE_REMOVED);
  EXPECT_EQ(agent.Send("one", "text.echo", ""), QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
}

TEST_F(Registry, KeepsTheDatabaseFileInTheAgentsDataFolder) {
  Install("silent");
  StartAgent();
  std::string file;
  for (const auto& entry : fs::recursive_directory_iterator(Root() + "/data")) {
    if (entry.path().filename() == ".qor-handlers.db") file = entry.path();
  }
  EXPECT_EQ(ReadFile(file),
            R"({"handlers":[{"handlerType":"AppHandler","handlerData":)"
            R"({"appId":"org.example.silent.handler","requestTypes":["silence.keep"]}}]})");
}

TEST_F(Registry, IgnoresAPackageWithAnInvalidConfigurationFile) {
  const std::string broken = CopyOf("text");
  std::ofstream(broken + "/res/handler.yaml") << "request-types: [unclosed";
  ASSERT_EQ(Qor({"package", "install", broken}).exit_status, 0);
  Install("silent");
  const auto run = Qor({"handlers"});
  EXPECT_EQ(run.output, "org.example.silent.handler 10 silence.keep\n");
  const std::string line = "Unable to parse config file";
  const auto first = run.errors.find(line);
  ASSERT_NE(first, std::string::npos) << run.errors;
  EXPECT_EQ(run.errors.find(line, first + 1), std::string::npos) << run.errors;
}

TEST_F(Registry, RejectsAPackageWithoutAManifestAndKeepsTheInstalledOne) {
  Install("text");
  const std::string spoilt = CopyOf("text");
  fs::remove(spoilt + "/tizen-manifest.xml");
  const auto run = Qor({"package", "install", spoilt});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_NE(run.errors.find("tizen-manifest.xml"), std::string::npos) << run.errors;
  EXPECT_EQ(Qor({"package", "list"}).output, "org.example.text 1.0.0\n");
  StartAgent();
  EXPECT_EQ(Execute("one", "text.echo", "x").result, "x");
}

}  // namespace
}  // namespace end_to_end
