// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Identification of processes that connect to the agent, which relies on the kernel alone.

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "platform/linux/common/process-identity.h"
#include "platform/linux/rpc-port/admission.h"
#include "security-test.h"

namespace security {
namespace {

namespace fs = std::filesystem;

constexpr char kId[] = "org.example.attacker";

class Identity : public SecurityTest {};

TEST_F(Identity, RejectsProcessThatIsNotInstalled) {
  ExpectOneLine("rejected host.attacker (process", [] {
    Peer attacker;
    EXPECT_EQ(Handshake(attacker), "rejected: not an installed application");
  });
}

TEST_F(Identity, RejectsApplicationWithoutBothPrivileges) {
  for (const char* privilege : {kLaunch, kSharing}) {
    const std::string id = std::string(kId) + (privilege == kLaunch ? ".launch" : ".sharing");
    const std::string program = InstallAttacker(id, privilege);
    ExpectOneLine("rejected " + id + " (process", [&] {
      Peer attacker(program);
      EXPECT_EQ(Handshake(attacker), std::string("rejected: lacks the privilege ") + privilege);
    });
  }
}

TEST_F(Identity, RejectsCopyOfExecutable) {
  const std::string copy = Root() + "/copy";
  fs::copy_file(InstallAttacker(kId), copy);
  ExpectOneLine("rejected host.copy (process", [&] {
    Peer attacker(copy);
    EXPECT_EQ(Handshake(attacker), "rejected: not an installed application");
  });
}

TEST_F(Identity, RejectsHardLinkToExecutable) {
  const std::string other = Root() + "/other";
  fs::create_hard_link(InstallAttacker(kId), other);
  ExpectOneLine("rejected host.other (process", [&] {
    Peer attacker(other);
    EXPECT_EQ(Handshake(attacker), "rejected: not an installed application");
  });
}

TEST_F(Identity, AcceptsSymbolicLinkToExecutable) {
  const std::string link = Root() + "/link";
  fs::create_symlink(InstallAttacker(kId), link);
  Peer attacker(link);
  Connect(attacker);
  ASSERT_EQ(GetAgent().Send("own", kId, ""), 0);
  EXPECT_EQ(attacker.Ask("next"), "own org.example.attacker");
}

TEST_F(Identity, RejectsProcessWithDeletedExecutable) {
  const std::string program = InstallAttacker(kId);
  ExpectOneLine("rejected an unidentified peer (process", [&] {
    Peer attacker(program);
    EXPECT_EQ(attacker.Ask("waiting"), "-1");  // it runs
    fs::remove(program);
    EXPECT_EQ(Handshake(attacker), "rejected: cannot identify the peer process");
  });
}

TEST_F(Identity, RejectsProcessWithReplacedExecutable) {
  const std::string program = InstallAttacker(kId);
  Peer old(program);
  EXPECT_EQ(old.Ask("waiting"), "-1");
  fs::copy_file(program, program + ".new");
  fs::rename(program + ".new", program);
  ExpectOneLine("rejected an unidentified peer (process",
                [&] { EXPECT_EQ(Handshake(old), "rejected: cannot identify the peer process"); });
  Peer replaced(program);
  EXPECT_EQ(Handshake(replaced), "accepted");
}

TEST_F(Identity, IgnoresNameSetByProcess) {
  setenv(platform::kHostNameVariable, "org.example.text.handler", 1);
  ExpectOneLine("rejected host.org.example.text.handler (process", [] {
    Peer attacker;
    EXPECT_EQ(Handshake(attacker), "rejected: not an installed application");
  });
  unsetenv(platform::kHostNameVariable);
}

// Checks the admission directly, and as root also with a process of another user.
TEST_F(Identity, RejectsOtherUserWithSameExecutable) {
  constexpr uid_t kNobody = 65534;
  const std::string program = InstallAttacker(kId);
  const auto admission = platform::rpc::Admit(platform::ProcessHandle(getpid()), geteuid() + 1, {});
  EXPECT_FALSE(admission.is_granted);
  EXPECT_EQ(admission.cause, "belongs to another user");
  if (geteuid() != 0) return;
  Peer attacker(program);
  EXPECT_EQ(attacker.Ask("become " + std::to_string(kNobody)), "became");
  // The root folder is not accessible to others.
  EXPECT_EQ(Handshake(attacker), "no connection: Permission denied");
  // Opening the folders does not open the socket.
  for (const char* folder : {"", "/run", "/run/ports"}) chmod((Root() + folder).c_str(), 0711);
  const std::string port = Root() + "/run/ports/" + AgentId();
  chmod(port.c_str(), 0711);
  EXPECT_EQ(Handshake(attacker), "no connection: Permission denied");
  chmod((port + "/CommandHandler").c_str(), 0777);
  ExpectOneLine("rejected an unidentified peer (process",
                [&] { EXPECT_EQ(Handshake(attacker), "rejected: belongs to another user"); });
}

TEST_F(Identity, ConnectionClosesAfterExec) {
  const std::string program = InstallAttacker(kId);
  Peer attacker(program);
  Connect(attacker);
  ExpectOneLine("org.example.attacker sent data after executing another file", [&] {
    EXPECT_EQ(attacker.Ask(std::string("exec ") + PEER_EXECUTABLE + " with-connections"),
              "with connections");
    // The agent inspects the executable at most once a second.
    std::string answer = "reply false";
    while (answer == "reply false") answer = attacker.Ask("ask nothing 1");
    EXPECT_EQ(answer, "disconnected");
  });
  ExpectOneLine("rejected host.attacker (process",
                [&] { EXPECT_EQ(Handshake(attacker), "rejected: not an installed application"); });
}

TEST_F(Identity, LastDataOfExitedProcessIsAccepted) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  ASSERT_EQ(GetAgent().Send("own", kId, ""), 0);
  EXPECT_EQ(attacker.Ask("next"), "own org.example.attacker");
  // Longer than the interval at which the agent inspects a sender's executable.
  const auto begin = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - begin < std::chrono::seconds(1))
    ExpectHonestHandlerServes();
  attacker.Send("result-and-exit own");
  EXPECT_EQ(attacker.NextLineWithoutLoop(), "");
  attacker.Kill();
  EXPECT_EQ(AwaitResponse("own").result, "last");
}

TEST_F(Identity, RejectsDataOfChildProcess) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  EXPECT_EQ(attacker.Ask("fork"), "forked");
  ExpectOneLine("org.example.attacker sent bytes from another process",
                [&] { EXPECT_EQ(attacker.Ask("ask nothing 1"), "disconnected"); });
}

TEST_F(Identity, RejectsHandshakeOfChildAfterExecOfParent) {
  const std::string victim = InstallAttacker(kId);
  // The child sends the hello, and the peer credentials name the process that runs the victim.
  Peer attacker;
  EXPECT_EQ(attacker.Ask("exec-parent " + AgentId() + " " + victim), "executed");
  ExpectOneLine("sent bytes from another process, connection closed",
                [&] { EXPECT_EQ(attacker.Ask("handshake-inherited"), "disconnected"); });
  // The process itself completed the handshake before, and the child knows the token.
  Peer second;
  second.Send("exec-parent-after-hello " + AgentId() + " " + victim);
  EXPECT_EQ(second.NextLineWithoutLoop(), "executed");
  EXPECT_EQ(second.Ask("reply-inherited"), "accepted");
  ExpectOneLine("sent bytes from another process, connection closed",
                [&] { EXPECT_EQ(second.Ask("join-inherited"), "disconnected"); });
  EXPECT_EQ(GetAgent().Send("secret", kId, ""), QOR_HANDLER_MANAGER_ERROR_NONE);
  EXPECT_EQ(second.Ask("waiting"), "0");
}

// The process executes another program between the two connections.
TEST_F(Identity, IsCheckedAgainForCallbackConnection) {
  Peer attacker(InstallAttacker(kId));
  EXPECT_EQ(Handshake(attacker), "accepted");
  const std::string token = attacker.Ask("token");
  EXPECT_EQ(attacker.Ask(std::string("exec ") + PEER_EXECUTABLE + " with-connections"),
            "with connections");
  ExpectOneLine("unknown main connection", [&] {
    EXPECT_EQ(attacker.Ask("join-with " + AgentId() + " " + token),
              "rejected: unknown main connection");
  });
}

TEST_F(Identity, RejectsPathInOtherMountNamespace) {
  const std::string victim = InstallAttacker(kId);
  Peer attacker;
  ASSERT_EQ(attacker.Ask("cover " + victim), "covered")
      << "this machine permits neither mount nor user namespaces: nothing was tested";
  ExpectOneLine("rejected host.attacker (process",
                [&] { EXPECT_EQ(Handshake(attacker), "rejected: not an installed application"); });
}

// There the process could choose the process id of its credentials.
TEST_F(Identity, RejectsProcessInOtherPidNamespace) {
  Peer attacker(InstallAttacker(kId));
  ASSERT_EQ(attacker.Ask("enclose"), "forked")
      << "this machine permits neither PID nor user namespaces: nothing was tested";
  ExpectOneLine("rejected org.example.attacker (process",
                [&] { EXPECT_EQ(Handshake(attacker), "rejected: runs in another PID namespace"); });
}

TEST_F(Identity, ConnectionsCloseOnExec) {
  Peer attacker(InstallAttacker(kId));
  Connect(attacker);
  EXPECT_EQ(attacker.Ask(std::string("exec ") + PEER_EXECUTABLE + " alone"), "without connections");
  ExpectHonestHandlerServes();
}

TEST_F(Identity, CallbackConnectionNeedsTokenOfItsProcess) {
  const std::string program = InstallAttacker(kId);
  Peer victim(program);
  EXPECT_EQ(Handshake(victim), "accepted");
  const std::string token = victim.Ask("token");
  const std::string unknown = "rejected: unknown main connection";
  // Another process of the same application uses a stolen or guessed token.
  Peer other(program);
  for (const std::string& candidate : {token, std::string(32, '0'), token.substr(1) + "0"}) {
    ExpectOneLine("rejected an unidentified peer (process", [&] {
      EXPECT_EQ(other.Ask("join-with " + AgentId() + " " + candidate), unknown);
    });
  }
  EXPECT_EQ(victim.Ask("join " + AgentId()), "accepted");
  // A token is valid only once.
  ExpectOneLine("rejected an unidentified peer (process",
                [&] { EXPECT_EQ(victim.Ask("join-with " + AgentId() + " " + token), unknown); });
}

}  // namespace
}  // namespace security
