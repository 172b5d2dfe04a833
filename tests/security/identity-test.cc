// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Who may speak to the agent, and as whom: the kernel says, not the process.

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

TEST_F(Identity, OfAProcessThatIsNoApplicationIsNotEnough) {
  ExpectOneLine("rejected host.attacker (process", [] {
    Peer attacker;
    EXPECT_EQ(Greet(attacker), "refused: not an installed application");
  });
}

TEST_F(Identity, IsNotEnoughWithoutBothPrivileges) {
  for (const char* privilege : {kLaunch, kSharing}) {
    const std::string id = std::string(kId) + (privilege == kLaunch ? ".launch" : ".sharing");
    const std::string program = InstallAttacker(id, privilege);
    ExpectOneLine("rejected " + id + " (process", [&] {
      Peer attacker(program);
      EXPECT_EQ(Greet(attacker), std::string("refused: lacks the privilege ") + privilege);
    });
  }
}

TEST_F(Identity, IsNotThatOfACopyElsewhere) {
  const std::string copy = Root() + "/copy";
  fs::copy_file(InstallAttacker(kId), copy);
  ExpectOneLine("rejected host.copy (process", [&] {
    Peer attacker(copy);
    EXPECT_EQ(Greet(attacker), "refused: not an installed application");
  });
}

TEST_F(Identity, IsNotThatOfAnotherNameOfTheSameFile) {
  const std::string other = Root() + "/other";
  fs::create_hard_link(InstallAttacker(kId), other);
  ExpectOneLine("rejected host.other (process", [&] {
    Peer attacker(other);
    EXPECT_EQ(Greet(attacker), "refused: not an installed application");
  });
}

TEST_F(Identity, IsThatOfTheFileWhereALinkLeadsToIt) {
  const std::string link = Root() + "/link";
  fs::create_symlink(InstallAttacker(kId), link);
  Peer attacker(link);
  Attach(attacker);
  ASSERT_EQ(GetAgent().Send("own", kId, ""), 0);
  EXPECT_EQ(attacker.Ask("next"), "own org.example.attacker");
}

TEST_F(Identity, IsLostWithTheExecutable) {
  const std::string program = InstallAttacker(kId);
  ExpectOneLine("rejected an unidentified peer (process", [&] {
    Peer attacker(program);
    EXPECT_EQ(attacker.Ask("waiting"), "-1");  // it runs
    fs::remove(program);
    EXPECT_EQ(Greet(attacker), "refused: cannot identify the peer process");
  });
}

TEST_F(Identity, IsThatOfWhatStandsThereNow) {
  const std::string program = InstallAttacker(kId);
  Peer old(program);
  EXPECT_EQ(old.Ask("waiting"), "-1");
  fs::copy_file(program, program + ".new");
  fs::rename(program + ".new", program);
  ExpectOneLine("rejected an unidentified peer (process",
                [&] { EXPECT_EQ(Greet(old), "refused: cannot identify the peer process"); });
  Peer replaced(program);
  EXPECT_EQ(Greet(replaced), "accepted");
}

TEST_F(Identity, IsNotANameThatAProcessGivesItself) {
  setenv(platform::kHostNameVariable, "org.example.text.handler", 1);
  ExpectOneLine("rejected host.org.example.text.handler (process", [] {
    Peer attacker;
    EXPECT_EQ(Greet(attacker), "refused: not an installed application");
  });
  unsetenv(platform::kHostNameVariable);
}

// Told by the kernel's word alone, and as root with a process of such a user as well.
TEST_F(Identity, OfAnotherUserIsRefusedWhateverItsExecutable) {
  constexpr uid_t kNobody = 65534;
  const std::string program = InstallAttacker(kId);
  const auto admission = platform::rpc::Admit(platform::ProcessHandle(getpid()), geteuid() + 1, {});
  EXPECT_FALSE(admission.is_granted);
  EXPECT_EQ(admission.cause, "belongs to another user");
  if (geteuid() != 0) return;
  Peer attacker(program);
  EXPECT_EQ(attacker.Ask("become " + std::to_string(kNobody)), "became");
  // The root folder is closed to others.
  EXPECT_EQ(Greet(attacker), "no connection: Permission denied");
  // Who opens it, opens the socket to nobody still.
  for (const char* folder : {"", "/run", "/run/ports"}) chmod((Root() + folder).c_str(), 0711);
  const std::string port = Root() + "/run/ports/" + AgentId();
  chmod(port.c_str(), 0711);
  EXPECT_EQ(Greet(attacker), "no connection: Permission denied");
  chmod((port + "/CommandHandler").c_str(), 0777);
  ExpectOneLine("rejected an unidentified peer (process",
                [&] { EXPECT_EQ(Greet(attacker), "refused: belongs to another user"); });
}

TEST_F(Identity, EndsWithTheProgram) {
  const std::string program = InstallAttacker(kId);
  Peer attacker(program);
  Attach(attacker);
  ExpectOneLine("org.example.attacker sent data after executing another file", [&] {
    EXPECT_EQ(attacker.Ask(std::string("exec ") + PEER_EXECUTABLE + " with-connections"),
              "with connections");
    // It may be a moment until the agent looks.
    std::string answer = "told false";
    while (answer == "told false") answer = attacker.Ask("ask nothing 1");
    EXPECT_EQ(answer, "gone");
  });
  ExpectOneLine("rejected host.attacker (process",
                [&] { EXPECT_EQ(Greet(attacker), "refused: not an installed application"); });
}

TEST_F(Identity, StaysThatOfAProcessThatHasExited) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  ASSERT_EQ(GetAgent().Send("own", kId, ""), 0);
  EXPECT_EQ(attacker.Ask("next"), "own org.example.attacker");
  // Until the agent inspects the process on receiving from it.
  const auto begin = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - begin < std::chrono::seconds(1)) ExpectUnharmed();
  attacker.Tell("result-and-exit own");
  EXPECT_EQ(attacker.NextLineWithoutLoop(), "");
  attacker.Kill();
  EXPECT_EQ(AwaitResponse("own").result, "last");
}

TEST_F(Identity, IsNotThatOfAChildProcess) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  EXPECT_EQ(attacker.Ask("fork"), "forked");
  ExpectOneLine("org.example.attacker sent bytes from another process",
                [&] { EXPECT_EQ(attacker.Ask("ask nothing 1"), "gone"); });
}

TEST_F(Identity, CannotBeLentByAProcessThatExecutesAnotherProgram) {
  const std::string victim = InstallAttacker(kId);
  // The child greets, and the agent finds the victim's executable behind the connection.
  Peer attacker;
  EXPECT_EQ(attacker.Ask("lend " + AgentId() + " " + victim), "lent");
  ExpectOneLine("sent bytes from another process, connection closed",
                [&] { EXPECT_EQ(attacker.Ask("greet-lent"), "gone"); });
  // The process has greeted itself before, and the child knows the token.
  Peer second;
  second.Tell("lend-greeted " + AgentId() + " " + victim);
  EXPECT_EQ(second.NextLineWithoutLoop(), "lent");
  EXPECT_EQ(second.Ask("hear-lent"), "accepted");
  ExpectOneLine("sent bytes from another process, connection closed",
                [&] { EXPECT_EQ(second.Ask("join-lent"), "gone"); });
  EXPECT_EQ(GetAgent().Send("secret", kId, ""), QOR_HANDLER_MANAGER_ERROR_NONE);
  EXPECT_EQ(second.Ask("waiting"), "0");
}

// The program changes between the two connections.
TEST_F(Identity, IsToldAgainWhenACallbackConnectionJoins) {
  Peer attacker(InstallAttacker(kId));
  EXPECT_EQ(Greet(attacker), "accepted");
  const std::string token = attacker.Ask("token");
  EXPECT_EQ(attacker.Ask(std::string("exec ") + PEER_EXECUTABLE + " with-connections"),
            "with connections");
  ExpectOneLine("unknown main connection", [&] {
    EXPECT_EQ(attacker.Ask("join-with " + AgentId() + " " + token),
              "refused: unknown main connection");
  });
}

TEST_F(Identity, IsNotAPathInAMountNamespaceOfItsOwn) {
  const std::string victim = InstallAttacker(kId);
  Peer attacker;
  ASSERT_EQ(attacker.Ask("cover " + victim), "covered")
      << "this machine permits neither mount nor user namespaces: nothing was tested";
  ExpectOneLine("rejected host.attacker (process",
                [&] { EXPECT_EQ(Greet(attacker), "refused: not an installed application"); });
}

// Where the process would be free to speak in the name of others.
TEST_F(Identity, IsNothingInAPidNamespaceOfItsOwn) {
  Peer attacker(InstallAttacker(kId));
  ASSERT_EQ(attacker.Ask("enclose"), "forked")
      << "this machine permits neither PID nor user namespaces: nothing was tested";
  ExpectOneLine("rejected org.example.attacker (process",
                [&] { EXPECT_EQ(Greet(attacker), "refused: runs in another PID namespace"); });
}

TEST_F(Identity, LeavesNoConnectionsToAProgramThatIsExecuted) {
  Peer attacker(InstallAttacker(kId));
  Attach(attacker);
  EXPECT_EQ(attacker.Ask(std::string("exec ") + PEER_EXECUTABLE + " alone"), "without connections");
  ExpectUnharmed();
}

TEST_F(Identity, OfACallbackConnectionIsThatOfItsMainOne) {
  const std::string program = InstallAttacker(kId);
  Peer victim(program);
  EXPECT_EQ(Greet(victim), "accepted");
  const std::string token = victim.Ask("token");
  const std::string unknown = "refused: unknown main connection";
  // Another process of the same application knows the token, or guesses.
  Peer thief(program);
  for (const std::string& stolen : {token, std::string(32, '0'), token.substr(1) + "0"}) {
    ExpectOneLine("rejected an unidentified peer (process",
                  [&] { EXPECT_EQ(thief.Ask("join-with " + AgentId() + " " + stolen), unknown); });
  }
  EXPECT_EQ(victim.Ask("join " + AgentId()), "accepted");
  // It is worth nothing a second time.
  ExpectOneLine("rejected an unidentified peer (process",
                [&] { EXPECT_EQ(victim.Ask("join-with " + AgentId() + " " + token), unknown); });
}

}  // namespace
}  // namespace security
