// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>

#include "end-to-end-test.h"
#include "live-process.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/common/process-identity.h"

namespace end_to_end {
namespace {

class ToolCore : public EndToEndTest {
 protected:
  static std::string QorPath() { return BuildFolder() + "/tools/qor/qor"; }

  std::vector<pid_t> HandlerProcesses() const {
    return platform::FindProcesses([this](const platform::Executable& executable) {
      return executable.path.rfind(Root() + "/packages/", 0) == 0;
    });
  }

  // Polls for conditions that cause no event of the main loop.
  static bool Await(const std::function<bool()>& condition) {
    Ecore_Timer* tick = ecore_timer_add(
        0.01, [](void*) -> Eina_Bool { return ECORE_CALLBACK_RENEW; }, nullptr);
    const bool holds = tools::RunUntil(condition, kTimeoutSeconds);
    ecore_timer_del(tick);
    return holds;
  }
};

TEST_F(ToolCore, RunsTwoSendsConcurrentlyWithOneHandlerProcess) {
  Install("text");
  LiveProcess first({QorPath(), "send", "text.delay", "2", "--execution-timeout", "60000"});
  LiveProcess second({QorPath(), "send", "text.delay", "2", "--execution-timeout", "60000"});
  const std::set<std::string> owners = {"host.qor", "host.qor-2"};
  EXPECT_TRUE(Await([&] {
    return std::all_of(owners.begin(), owners.end(), [this](const std::string& owner) {
      return std::filesystem::exists(Root() + "/run/ports/" + owner + "/CommandHandler");
    });
  }));
  EXPECT_EQ(first.AwaitEnd(), 0) << first.Errors();
  EXPECT_EQ(second.AwaitEnd(), 0) << second.Errors();
  EXPECT_EQ(first.Output(), "{\"text\":\"done slowly\"}\n");
  EXPECT_EQ(second.Output(), "{\"text\":\"done slowly\"}\n");
  EXPECT_EQ(HandlerProcesses().size(), 1u);
}

TEST_F(ToolCore, DoesNotPassItsNameToLaunchedApplications) {
  Install("text");
  setenv(platform::kHostNameVariable, "somebody", 1);
  StartAgent();
  EXPECT_EQ(Execute("one", "text.echo", "x").result, "x");
  unsetenv(platform::kHostNameVariable);
  const auto handlers = HandlerProcesses();
  ASSERT_EQ(handlers.size(), 1u);
  EXPECT_EQ(platform::ReadStartVariable(handlers[0], platform::kHostNameVariable), std::nullopt);
  EXPECT_EQ(platform::ReadStartVariable(handlers[0], "QOR_PLATFORM_ROOT"), Root());
}

TEST_F(ToolCore, ReusesItsNames) {
  for (int i = 0; i < 3; ++i) ASSERT_EQ(Qor({"handlers"}).exit_status, 0);
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(Root() + "/data")) {
    names.insert(entry.path().filename());
  }
  EXPECT_EQ(names, std::set<std::string>{"host.qor"});
}

}  // namespace
}  // namespace end_to_end
