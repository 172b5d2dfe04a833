// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Locks of the platform's files, held by a handler for as long as it likes.

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

TEST_F(Locks, OfALaunchDelayOnlyThatApplication) {
  Hold(std::string("run/app-locks/") + kAttacker);
  testing::internal::CaptureStderr();
  EXPECT_EQ(GetAgent().Send("delayed", kAttacker, ""), 0);
  EXPECT_EQ(GetAgent().Send("delayed-too", kAttacker, ""), 0);
  ExpectUnharmed();
  attacker_.reset();
  // Launched once the lock is free, and joins by itself no agent; the honest one is still served.
  ExpectUnharmed();
  testing::internal::GetCapturedStderr();
}

TEST_F(Locks, OfThePackageDatabaseDelayNoQuery) {
  for (const char* file : {"packages.db", "packages.db-shm", "packages.db-wal"}) {
    HoldBytes(file);
    Hold(file);
  }
  // What needs a look at the database: who connects, what is installed, an agent that starts.
  Peer other(program_);
  EXPECT_EQ(Greet(other), "accepted");
  EXPECT_TRUE(platform::FindApplication(kAttacker));
  StopAgent();
  StartAgent();
  ExpectUnharmed();
  // It is no lock of the writer's either.
  Install("silent");
  EXPECT_TRUE(AwaitUpdates(1));
}

TEST_F(Locks, OfInstallationsAreNamedByTheToolThatWaits) {
  Hold("install.lock");
  end_to_end::LiveProcess install(
      {BuildFolder() + "/tools/qor/qor", "package", "install", Packages() + "/silent"});
  ASSERT_TRUE(install.AwaitErrors("(" + program_ + ")"));
  attacker_.reset();
  EXPECT_EQ(install.AwaitEnd(), 0);
}

}  // namespace
}  // namespace security
