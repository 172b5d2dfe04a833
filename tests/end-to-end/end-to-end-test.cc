// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "end-to-end-test.h"

#include <Ecore.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace end_to_end {

EndToEndTest::EndToEndTest() {
  std::string root = std::filesystem::temp_directory_path() / "qor-end-to-end-XXXXXX";
  if (mkdtemp(root.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  root_ = root;
  setenv("QOR_PLATFORM_ROOT", root_.c_str(), 1);
  ecore_init();
}

EndToEndTest::~EndToEndTest() {
  agent_.reset();
  std::istringstream packages(Qor({"package", "list"}).output);
  for (std::string id, version; packages >> id >> version;) Qor({"package", "uninstall", id});
  ecore_shutdown();
  std::filesystem::remove_all(root_);
}

support::PlainAgent& EndToEndTest::StartAgent(int execution_timeout_ms, int connection_timeout_ms) {
  agent_ = std::make_unique<support::PlainAgent>(execution_timeout_ms, connection_timeout_ms);
  return *agent_;
}

void EndToEndTest::Install(const std::string& example) {
  const auto run = Qor({"package", "install", Packages() + "/" + example});
  ASSERT_EQ(run.exit_status, 0) << run.errors;
}

void EndToEndTest::Uninstall(const std::string& package_id) {
  const auto run = Qor({"package", "uninstall", package_id});
  ASSERT_EQ(run.exit_status, 0) << run.errors;
}

tools::ProcessResult EndToEndTest::Qor(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), BuildFolder() + "/tools/qor/qor");
  return tools::RunProcess(arguments, kTimeoutSeconds);
}

support::PlainAgent::Response EndToEndTest::Execute(const std::string& uuid,
                                                    const std::string& request_type,
                                                    const std::string& payload) {
  const int error = agent_->Send(uuid, request_type, payload);
  if (error != 0) return {uuid, -1, "", "not accepted: " + std::to_string(error)};
  return AwaitResponse(uuid);
}

support::PlainAgent::Response EndToEndTest::AwaitResponse(const std::string& uuid) {
  const auto* response = agent_->WaitForResponse(uuid, kTimeoutSeconds);
  return response != nullptr ? *response
                             : support::PlainAgent::Response{uuid, -1, "", "no response"};
}

bool EndToEndTest::AwaitUpdates(std::size_t count) {
  return tools::RunUntil([this, count] { return agent_->Updates().size() >= count; },
                         kTimeoutSeconds);
}

std::string EndToEndTest::BuildFolder() { return QOR_BUILD_FOLDER; }

}  // namespace end_to_end
