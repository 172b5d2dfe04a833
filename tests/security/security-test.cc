// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "security-test.h"

#include "example-copy.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/process-identity.h"

namespace security {

void SecurityTest::SetUp() {
  Install("text");
  StartAgent();
  ExpectHonestHandlerServes();
}

std::string SecurityTest::InstallAttacker(const std::string& app_id,
                                          const std::string& without_privilege) {
  const size_t updates = GetAgent().Updates().size();
  const std::string program =
      InstallWithout("<privilege>" + without_privilege + "</privilege>", app_id);
  EXPECT_TRUE(AwaitUpdates(updates + 1));
  return program;
}

std::string SecurityTest::InstallNonHandler(const std::string& app_id) {
  return InstallWithout(
      R"(<metadata key="http://tizen.org/iot/metadata/qor/command-handler" value="res/handler.yaml"/>)",
      app_id);
}

std::string SecurityTest::InstallWithout(const std::string& text, const std::string& app_id) {
  const end_to_end::ExampleCopy copy(Packages() + "/attacker", Root() + "/" + app_id);
  copy.Replace(text, "");
  copy.Replace("org.example.attacker.handler", app_id);
  copy.Replace("package=\"org.example.attacker", "package=\"" + app_id + ".package");
  copy.Write("res/handler.yaml", "request-types: [" + app_id + "]\n");
  const auto run = Qor({"package", "install", copy.Path()});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  return InstalledProgram(app_id);
}

std::string SecurityTest::InstalledProgram(const std::string& app_id) {
  const auto application = platform::FindApplication(app_id);
  EXPECT_TRUE(application);
  return application ? application->executable : "";
}

void SecurityTest::Connect(Peer& attacker) {
  EXPECT_EQ(Handshake(attacker), "accepted");
  EXPECT_EQ(attacker.Ask("join " + AgentId()), "accepted");
  EXPECT_EQ(attacker.Ask("fetch"), "sent");
  // The agent serves calls in order, so the fetch was served before this reply.
  EXPECT_EQ(attacker.Ask("ask nothing 1"), "reply false");
}

void SecurityTest::ExpectOneLine(const std::string& text, const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  action();
  const std::string log = testing::internal::GetCapturedStderr();
  size_t count = 0;
  for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) ++count;
  EXPECT_EQ(count, 1u) << "lines with \"" << text << "\" in:\n" << log;
  ExpectHonestHandlerServes();
}

void SecurityTest::ExpectHonestHandlerServes() {
  const std::string uuid = "honest-" + std::to_string(++commands_);
  EXPECT_EQ(Execute(uuid, "text.echo", "\"" + uuid + "\"").result, "\"" + uuid + "\"");
}

std::string SecurityTest::AgentId() { return platform::IdentifyThisProcess().app_id; }

}  // namespace security
