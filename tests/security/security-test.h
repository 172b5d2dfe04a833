// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_SECURITY_SECURITY_TEST_H_
#define QOR_TESTS_SECURITY_SECURITY_TEST_H_

#include <functional>
#include <string>

#include "end-to-end-test.h"
#include "platform/linux/tests/support/peer-process.h"

namespace security {

using Peer = platform::test::PeerProcess;

inline constexpr char kLaunch[] = "http://tizen.org/privilege/appmanager.launch";
inline constexpr char kSharing[] = "http://tizen.org/privilege/datasharing";

// An agent in this process, an honest handler (the package "text"), and attackers.
class SecurityTest : public end_to_end::EndToEndTest {
 protected:
  void SetUp() override;

  // Installs the attacker as a handler of a request type with the application's name. Returns the
  // path of its executable, which the test starts itself.
  std::string InstallAttacker(const std::string& app_id, const std::string& without_privilege = "");
  // Installs the attacker as an application with the privileges that is not a handler.
  std::string InstallNonHandler(const std::string& app_id);

  // The path of an installed application's executable.
  static std::string InstalledProgram(const std::string& app_id);

  // Connects the attacker as a handler that has fetched its commands.
  static void Connect(Peer& attacker);
  // Performs the handshake of a main connection. Returns "accepted" or the rejection.
  static std::string Handshake(Peer& attacker) { return attacker.Ask("handshake " + AgentId()); }

  // Expects the agent to log one line with the text during the action, and to execute a command of
  // the honest handler afterwards.
  void ExpectOneLine(const std::string& text, const std::function<void()>& action);
  void ExpectHonestHandlerServes();

  static std::string AgentId();

 private:
  // Installs the attacker without a part of its manifest.
  std::string InstallWithout(const std::string& text, const std::string& app_id);

  int commands_ = 0;
};

}  // namespace security

#endif
