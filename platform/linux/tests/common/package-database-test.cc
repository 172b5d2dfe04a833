// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/package-database.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

using test::PlatformTest;

class PackageDatabaseTest : public PlatformTest {};

ApplicationRecord MakeApplication(const std::string& id, const std::string& executable) {
  ApplicationRecord application;
  application.id = id;
  application.executable = executable;
  return application;
}

PackageRecord MakePackage(const std::string& id, const std::string& version = "1.0.0") {
  PackageRecord package;
  package.id = id;
  package.version = version;
  package.root_path = "/packages/" + id + "/1";
  package.applications = {MakeApplication(id + ".b", package.root_path + "/bin/b"),
                          MakeApplication(id + ".a", package.root_path + "/bin/a")};
  return package;
}

std::vector<std::string> IdsOf(const std::vector<ApplicationRecord>& applications) {
  std::vector<std::string> ids;
  for (const ApplicationRecord& application : applications) ids.push_back(application.id);
  return ids;
}

TEST_F(PackageDatabaseTest, ReturnsNothingAndCreatesNothingWhenEmpty) {
  UseRoot(Folder() + "/other");
  std::filesystem::remove_all(Root());
  EXPECT_FALSE(FindPackage("p"));
  EXPECT_FALSE(FindApplication("p.a"));
  EXPECT_FALSE(FindApplicationIdByExecutable("/bin/true"));
  EXPECT_TRUE(AllPackages().empty());
  EXPECT_TRUE(FindApplicationsWithMetadata({{"key", std::nullopt}}).empty());
  EXPECT_FALSE(PackageOfApplicationHasPrivilege("p.a", "privilege"));
  EXPECT_FALSE(std::filesystem::exists(Root()));
}

// A package with a value in every field.
PackageRecord SamplePackage() {
  PackageRecord package = MakePackage("p", "1.2.3");
  package.preload = true;
  package.privileges = {"z", "a"};
  package.applications[0].kind = ApplicationKind::kWatch;
  package.applications[0].metadata = {{"k2", "v"}, {"k1", ""}, {"k2", "w"}};
  return package;
}

void ExpectSamplePackage() {
  const auto found = FindPackage("p");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->version, "1.2.3");
  EXPECT_EQ(found->type, "tpk");
  EXPECT_EQ(found->root_path, "/packages/p/1");
  EXPECT_TRUE(found->preload);
  EXPECT_EQ(found->privileges, (std::vector<std::string>{"z", "a"}));
  EXPECT_EQ(IdsOf(found->applications), (std::vector<std::string>{"p.b", "p.a"}));

  EXPECT_EQ(FindApplicationIdByExecutable("/packages/p/1/bin/b"), "p.b");
  EXPECT_EQ(FindApplicationIdByExecutable("/packages/p/1/bin/c"), std::nullopt);
  const auto application = FindApplication("p.b");
  ASSERT_TRUE(application);
  EXPECT_EQ(application->id, "p.b");
  EXPECT_EQ(application->package_id, "p");
  EXPECT_EQ(application->package_root, "/packages/p/1");
  EXPECT_EQ(application->kind, ApplicationKind::kWatch);
  EXPECT_TRUE(application->preload);
  EXPECT_EQ(application->metadata, SamplePackage().applications[0].metadata);
}

TEST_F(PackageDatabaseTest, ReturnsStoredPackage) {
  StorePackage(SamplePackage());
  ExpectSamplePackage();
}

// The file was written by an x86-64 process that stored the sample.
TEST_F(PackageDatabaseTest, ReadsFileOfAnotherArchitecture) {
  std::filesystem::copy_file(QOR_STORED_PACKAGES, Root() + "/packages.db");
  ExpectSamplePackage();
}

TEST_F(PackageDatabaseTest, UpdatesFileInWalMode) {
  std::filesystem::copy_file(QOR_STORED_PACKAGES, Root() + "/packages.db");
  StorePackage(MakePackage("q"));
  ExpectSamplePackage();
  EXPECT_TRUE(FindPackage("q"));
  EXPECT_EQ(test::SortedNames(Root()),
            (std::vector<std::string>{"packages.db", "report", "staging"}));
  EXPECT_TRUE(test::SortedNames(Root() + "/staging").empty());
}

TEST_F(PackageDatabaseTest, SupportsAnyRootName) {
  UseRoot(Folder() + "/a?b#c%41&mode=rw d");
  StorePackage(MakePackage("p"));
  EXPECT_TRUE(FindPackage("p"));
  EXPECT_EQ(test::SortedNames(Root()),
            (std::vector<std::string>{"packages.db", "report", "staging"}));
}

TEST_F(PackageDatabaseTest, IgnoresJournalFiles) {
  StorePackage(MakePackage("p"));
  for (const char* part : {"-journal", "-wal", "-shm"})
    test::WriteFile(Root() + "/packages.db" + part, std::string(5000, 'x'));
  EXPECT_TRUE(FindPackage("p"));
  StorePackage(MakePackage("q"));
  EXPECT_EQ(AllPackages().size(), 2U);
}

TEST_F(PackageDatabaseTest, RejectsPipe) {
  ASSERT_EQ(mkfifo((Root() + "/packages.db").c_str(), 0600), 0);
  EXPECT_THROW(AllPackages(), DatabaseError);
}

TEST_F(PackageDatabaseTest, StoresAllPackagesOrNone) {
  StorePackages({MakePackage("p"), MakePackage("q")});
  EXPECT_EQ(AllPackages().size(), 2U);
  PackageRecord conflicting = MakePackage("s");
  conflicting.applications[1].id = "p.a";
  EXPECT_THROW(StorePackages({MakePackage("r"), conflicting}), DatabaseError);
  EXPECT_EQ(AllPackages().size(), 2U);
  EXPECT_TRUE(test::SortedNames(Root() + "/staging").empty());
}

TEST_F(PackageDatabaseTest, ReplacesWholePackage) {
  PackageRecord package = MakePackage("p");
  package.privileges = {"privilege"};
  package.applications[0].metadata = {{"key", "value"}};
  StorePackage(package);
  package.applications.erase(package.applications.begin());
  package.privileges.clear();
  package.version = "2.0.0";
  StorePackage(package);

  EXPECT_EQ(FindPackage("p")->version, "2.0.0");
  EXPECT_FALSE(FindApplication("p.b"));
  EXPECT_TRUE(FindApplicationsWithMetadata({{"key", std::nullopt}}).empty());
  EXPECT_FALSE(PackageOfApplicationHasPrivilege("p.a", "privilege"));
}

TEST_F(PackageDatabaseTest, RemovesEverythingOfAPackage) {
  StorePackage(MakePackage("p"));
  StorePackage(MakePackage("q"));
  RemovePackage("p");
  RemovePackage("unknown");
  EXPECT_FALSE(FindPackage("p"));
  EXPECT_FALSE(FindApplication("p.a"));
  EXPECT_TRUE(FindApplication("q.a"));
}

TEST_F(PackageDatabaseTest, RejectsApplicationOfAnotherPackage) {
  StorePackage(MakePackage("p"));
  PackageRecord conflicting = MakePackage("q");
  conflicting.applications[1].id = "p.a";
  EXPECT_THROW(StorePackage(conflicting), DatabaseError);
  EXPECT_FALSE(FindPackage("q"));
  EXPECT_EQ(FindApplication("p.a")->package_id, "p");
}

TEST_F(PackageDatabaseTest, FindsApplicationsThatMeetEveryMetadataCondition) {
  for (const char* id : {"q", "p"}) {
    PackageRecord package = MakePackage(id);
    package.applications[0].metadata = {{"kind", "handler"}, {"name", id}};
    package.applications[1].metadata = {{"kind", "other"}};
    StorePackage(package);
  }
  EXPECT_EQ(IdsOf(FindApplicationsWithMetadata({{"kind", std::nullopt}})),
            (std::vector<std::string>{"p.b", "p.a", "q.b", "q.a"}));
  EXPECT_EQ(IdsOf(FindApplicationsWithMetadata({{"kind", "handler"}})),
            (std::vector<std::string>{"p.b", "q.b"}));
  EXPECT_EQ(IdsOf(FindApplicationsWithMetadata({{"kind", std::nullopt}, {"name", "q"}})),
            (std::vector<std::string>{"q.b"}));
  EXPECT_TRUE(FindApplicationsWithMetadata({{"kind", "handler"}, {"name", "x"}}).empty());
  EXPECT_EQ(FindApplicationsWithMetadata({}).size(), 4U);
}

TEST_F(PackageDatabaseTest, ReturnsPrivilegesOfApplicationsPackage) {
  PackageRecord package = MakePackage("p");
  package.privileges = {"one", "two"};
  StorePackage(package);
  EXPECT_TRUE(PackageOfApplicationHasPrivilege("p.a", "two"));
  EXPECT_FALSE(PackageOfApplicationHasPrivilege("p.a", "three"));
  EXPECT_FALSE(PackageOfApplicationHasPrivilege("p", "two"));
}

TEST_F(PackageDatabaseTest, ReopensWhenRootChanges) {
  StorePackage(MakePackage("p"));
  const std::string first = Root();
  UseRoot(Folder() + "/other");
  EXPECT_FALSE(FindPackage("p"));
  StorePackage(MakePackage("q"));
  UseRoot(first);
  EXPECT_TRUE(FindPackage("p"));
  EXPECT_FALSE(FindPackage("q"));
}

TEST_F(PackageDatabaseTest, RecoversFromRemovedRoot) {
  StorePackage(MakePackage("p"));
  std::filesystem::remove_all(Root());
  EXPECT_FALSE(FindPackage("p"));
  StorePackage(MakePackage("q"));
  EXPECT_TRUE(FindPackage("q"));
}

TEST_F(PackageDatabaseTest, FindsSamePackageAgain) {
  StorePackage(MakePackage("p"));
  const auto held = FindPackage("p");
  EXPECT_EQ(FindPackage("p")->version, "1.0.0");
  EXPECT_EQ(held->version, "1.0.0");
}

TEST_F(PackageDatabaseTest, ReturnsCurrentRecordAndKeepsEarlierOnes) {
  StorePackage(MakePackage("p", "1.0.0"));
  const auto first = FindPackage("p");
  StorePackage(MakePackage("p", "2.0.0"));
  const auto second = FindPackage("p");
  EXPECT_EQ(first->version, "1.0.0");
  EXPECT_EQ(second->version, "2.0.0");
  const std::string other = Root() + "/other.db";
  std::filesystem::copy_file(Root() + "/packages.db", other);
  sqlite::Database(other, sqlite::Database::Mode::kExisting)
      .Execute("UPDATE packages SET version = '3.0.0'");
  std::filesystem::rename(other, Root() + "/packages.db");
  const auto third = FindPackage("p");
  EXPECT_EQ(third->version, "3.0.0");
}

TEST_F(PackageDatabaseTest, ReturnsRecordOfCurrentRoot) {
  const std::string first = Root();
  StorePackage(MakePackage("p", "1.0.0"));
  UseRoot(Folder() + "/other");
  StorePackage(MakePackage("p", "2.0.0"));
  UseRoot(first);
  const auto held = FindPackage("p");
  UseRoot(Folder() + "/other");
  EXPECT_EQ(FindPackage("p")->version, "2.0.0");
  EXPECT_EQ(held->version, "1.0.0");
}

TEST_F(PackageDatabaseTest, KeepsRecordWhenEarlierOneIsReleased) {
  StorePackage(MakePackage("p"));
  auto earlier = FindPackage("p");
  StorePackage(MakePackage("q"));
  const auto held = FindPackage("p");
  EXPECT_NE(held, earlier);
  earlier.reset();
  EXPECT_EQ(held->version, "1.0.0");
}

TEST_F(PackageDatabaseTest, RejectsViewInPlaceOfTable) {
  sqlite::Database file(Root() + "/packages.db", sqlite::Database::Mode::kCreate);
  file.Execute(
      "CREATE VIEW packages AS WITH RECURSIVE endless(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM "
      "endless) SELECT n AS id, '' AS version, '' AS type, '' AS root_path, 0 AS preload FROM "
      "endless; PRAGMA user_version = 1");
  EXPECT_THROW(AllPackages(), DatabaseError);
}

TEST_F(PackageDatabaseTest, RunsNoTriggers) {
  StorePackage(MakePackage("p"));
  {
    sqlite::Database file(Root() + "/packages.db", sqlite::Database::Mode::kExisting);
    file.Execute("CREATE TRIGGER eats AFTER INSERT ON packages BEGIN DELETE FROM packages; END");
  }
  StorePackage(MakePackage("q"));
  EXPECT_TRUE(FindPackage("p"));
  EXPECT_TRUE(FindPackage("q"));
}

TEST_F(PackageDatabaseTest, NamesCorruptFile) {
  const std::string file = Root() + "/packages.db";
  test::WriteFile(file, std::string(5000, 'x'));
  try {
    FindPackage("p");
    FAIL() << "no error";
  } catch (const DatabaseError& error) {
    EXPECT_NE(std::string(error.what()).find(file), std::string::npos) << error.what();
  }
}

TEST_F(PackageDatabaseTest, NamesInaccessibleFile) {
  const std::string file = Folder() + "/file";
  test::WriteFile(file, "");
  setenv("QOR_PLATFORM_ROOT", (file + "/root").c_str(), 1);
  try {
    AllPackages();
    FAIL() << "no error";
  } catch (const DatabaseError& error) {
    EXPECT_NE(std::string(error.what()).find(file + "/root/packages.db"), std::string::npos);
  }
}

TEST_F(PackageDatabaseTest, IsThreadSafe) {
  StorePackage(MakePackage("p"));
  std::atomic<int> found{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&found, i] {
      StorePackage(MakePackage("q" + std::to_string(i)));
      for (int j = 0; j < 50; ++j)
        if (FindApplication("p.a") && FindPackage("q" + std::to_string(i))) ++found;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 200);
  EXPECT_EQ(AllPackages().size(), 5U);
}

}  // namespace
}  // namespace platform
