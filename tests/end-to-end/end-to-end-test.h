// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_END_TO_END_TEST_H_
#define QOR_TESTS_END_TO_END_END_TO_END_TEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "agent/agent.h"
#include "agent/process.h"

namespace end_to_end {

// No event takes this long; a test that waits in vain fails after it.
inline constexpr double kPatienceSeconds = 60;

// A test with real packages, real processes and a root folder of its own. Everything that was
// installed is uninstalled at its end, which ends the processes too.
class EndToEndTest : public testing::Test {
 protected:
  EndToEndTest();
  ~EndToEndTest() override;

  // Starts the library in this process.
  tools::Agent& StartAgent(int execution_timeout_ms = 60'000, int connection_timeout_ms = 60'000);
  void StopAgent() { agent_.reset(); }
  tools::Agent& TheAgent() { return *agent_; }

  // One of the example packages, by folder name, through the qor tool.
  void Install(const std::string& example);
  void Uninstall(const std::string& package_id);
  tools::ProcessResult Qor(std::vector<std::string> arguments);

  // Sends and waits; the response has status -1 when the command was not accepted or not answered.
  tools::Agent::Response Execute(const std::string& uuid, const std::string& request_type,
                                 const std::string& payload = "");
  tools::Agent::Response AwaitResponse(const std::string& uuid);
  bool AwaitUpdates(std::size_t count);

  const std::string& Root() const { return root_; }
  // Folder of this build, and of its example packages.
  static std::string BuildFolder();
  static std::string Packages() { return BuildFolder() + "/packages"; }

 private:
  std::string root_;
  std::unique_ptr<tools::Agent> agent_;
};

}  // namespace end_to_end

#endif
