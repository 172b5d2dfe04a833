// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Locks on the platform's files that a handler never releases.

#include <optional>
#include <string>

#include "live-process.h"
#include "platform/linux/common/package-database.h"
#include "security-test.h"

namespace security {
namespace {

constexpr char kAttacker[] = "org.example.attacker";

class Locks : public SecurityTest {
 protected:
  void SetUp() override {
    SecurityTest::SetUp();
    program_ = InstallAttacker(kAttacker);
    attacker_.emplace(program_);
  }

  void Hold(const std::string& file) {
    EXPECT_EQ(attacker_->Ask("hold " + Root() + "/" + file), "held");
  }
  void HoldBytes(const std::string& file) {
    EXPECT_EQ(attacker_->Ask("hold-bytes " + Root() + "/" + file), "held");
  }

  std::string program_;
  std::optional<Peer> attacker_;
};

TEST_F(Locks, LaunchLockDelaysOnlyThatApplication) {
  Hold(std::string("run/app-locks/") + kAttacker);
  testing::internal::CaptureStderr();
  EXPECT_EQ(GetAgent().Send("delayed", kAttacker, ""), 0);
  EXPECT_EQ(GetAgent().Send("delayed-too", kAttacker, ""), 0);
  ExpectHonestHandlerServes();
  attacker_.reset();
  // The attacker is launched once the lock is free; the honest handler is still served.
  ExpectHonestHandlerServes();
  testing::internal::GetCapturedStderr();
}

TEST_F(Locks, DatabaseLocksDelayNoQuery) {
  for (const char* file : {"packages.db", "packages.db-shm", "packages.db-wal"}) {
    HoldBytes(file);
    Hold(file);
  }
  // Operations that query the database: a handshake, a lookup and the start of an agent.
  Peer other(program_);
  EXPECT_EQ(Handshake(other), "accepted");
  EXPECT_TRUE(platform::FindApplication(kAttacker));
  StopAgent();
  StartAgent();
  ExpectHonestHandlerServes();
  // Writers do not need these locks either.
  Install("silent");
  EXPECT_TRUE(AwaitUpdates(1));
}

TEST_F(Locks, WaitingInstallNamesHolder) {
  Hold("install.lock");
  end_to_end::LiveProcess install(
      {BuildFolder() + "/tools/qor/qor", "package", "install", Packages() + "/silent"});
  ASSERT_TRUE(install.AwaitErrors("(" + program_ + ")"));
  attacker_.reset();
  EXPECT_EQ(install.AwaitEnd(), 0);
}

}  // namespace
}  // namespace security
