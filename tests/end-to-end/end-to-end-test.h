// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_END_TO_END_END_TO_END_TEST_H_
#define QOR_TESTS_END_TO_END_END_TO_END_TEST_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "base/process.h"
#include "base/run-until.h"
#include "plain-agent.h"

namespace end_to_end {

// Limit for all waits: far longer than any expected event, also under sanitizers.
inline constexpr std::chrono::seconds kTimeoutSeconds{60};

// A fixture with real packages, real processes and a temporary root folder. The destructor
// uninstalls all packages, which also ends their processes.
class EndToEndTest : public testing::Test {
 protected:
  EndToEndTest();
  ~EndToEndTest() override;

  // Starts the library in this process.
  support::PlainAgent& StartAgent(int execution_timeout_ms = 60'000,
                                  int connection_timeout_ms = 60'000);
  void StopAgent() { agent_.reset(); }
  support::PlainAgent& GetAgent() { return *agent_; }

  // Installs an example package by folder name with the qor tool.
  void Install(const std::string& example);
  void Uninstall(const std::string& package_id);
  tools::ProcessResult Qor(std::vector<std::string> arguments);

  // Sends a command and waits. The status is -1 if it was rejected or not answered.
  support::PlainAgent::Response Execute(const std::string& uuid, const std::string& request_type,
                                        const std::string& payload = "");
  support::PlainAgent::Response AwaitResponse(const std::string& uuid);
  bool AwaitUpdates(std::size_t count);

  const std::string& Root() const { return root_; }
  // Folders of this build and of its example packages.
  static std::string BuildFolder();
  static std::string Packages() { return BuildFolder() + "/packages"; }

 private:
  std::string root_;
  std::unique_ptr<support::PlainAgent> agent_;
};

}  // namespace end_to_end

#endif
