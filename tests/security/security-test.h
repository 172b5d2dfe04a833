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

// An agent in this process, an honest handler ("text"), and attackers.
class SecurityTest : public end_to_end::EndToEndTest {
 protected:
  void SetUp() override;

  // Installs the attacker as a handler of the request type that is named like the application, and
  // returns the path of its executable. It does something when the test starts it.
  std::string InstallAttacker(const std::string& app_id, const std::string& without_privilege = "");
  // As an application that holds the privileges and is no handler.
  std::string InstallStranger(const std::string& app_id);

  // The path of an installed application's executable.
  static std::string InstalledProgram(const std::string& app_id);

  // An attacker that has joined and asked for its commands.
  static void Attach(Peer& attacker);
  // What a process is told that greets the agent.
  static std::string Greet(Peer& attacker) { return attacker.Ask("greet " + AgentId()); }

  // That the agent writes one line that holds the text during the action, and serves a command of
  // the honest handler after it.
  void ExpectOneLine(const std::string& text, const std::function<void()>& action);
  void ExpectUnharmed();

  static std::string AgentId();

 private:
  // With some text of the manifest left out.
  std::string InstallWithout(const std::string& text, const std::string& app_id);

  int commands_ = 0;
};

}  // namespace security

#endif
