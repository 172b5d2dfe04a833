// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/manifest.h"

#include <app_manager.h>
#include <gtest/gtest.h>
#include <package_manager.h>

#include <filesystem>
#include <ostream>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

namespace fs = std::filesystem;
using test::PackageSpec;
using test::WriteFile;

constexpr char kOpen[] = R"(<manifest package="org.test.q" version="1.0.0">)";
constexpr char kValidApplication[] = R"(<service-application appid="org.test.q.app" exec="app"/>)";

struct InvalidManifest {
  const char* name;
  std::string manifest;
  int line;
  std::string reason;
};

void PrintTo(const InvalidManifest& invalid, std::ostream* out) { *out << invalid.name; }

std::string Application(const std::string& attributes) {
  return "<service-application " + attributes + "/>";
}

std::string Lines(std::initializer_list<std::string> lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

std::string Nested(int levels) {
  std::string begins, ends;
  for (int i = 0; i < levels; ++i) {
    begins += "<a>";
    ends += "</a>";
  }
  return begins + ends;
}

class InvalidManifestTest : public test::PlatformTest,
                            public testing::WithParamInterface<InvalidManifest> {};

TEST_P(InvalidManifestTest, KeepsInstalledStateAndNamesFileLineAndReason) {
  ASSERT_EQ(Install(PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
  const auto before = test::SortedNames(Root() + "/packages/org.test.p");

  const std::string source = Folder() + "/bad";
  WriteFile(source + "/bin/app", "#!/bin/true\n", true);
  WriteFile(source + "/bin/other", "#!/bin/true\n", true);
  WriteFile(source + "/bin/plain", "no program");
  fs::create_directories(source + "/bin/folder");
  WriteFile(source + "/outside", "#!/bin/true\n", true);
  if (!GetParam().manifest.empty()) WriteFile(source + "/tizen-manifest.xml", GetParam().manifest);

  EXPECT_EQ(InstallPath(source), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
  const std::string expected =
      source + "/tizen-manifest.xml:" + std::to_string(GetParam().line) + ": " + GetParam().reason;
  EXPECT_NE(Log().find(expected), std::string::npos) << expected << "\nis not in\n" << Log();
  EXPECT_NE(Log().find("PKGMGR"), std::string::npos);
  EXPECT_EQ(InstalledCount(), 1);
  EXPECT_EQ(test::SortedNames(Root() + "/packages/org.test.p"), before);
  EXPECT_EQ(test::SortedNames(Root() + "/packages").size(), 1U);
  EXPECT_TRUE(test::SortedNames(Root() + "/staging").empty());
}

const InvalidManifest kInvalidManifests[] = {
    {"MissingFile", "", 1, "the package has no manifest"},
    {"BrokenXml", Lines({kOpen, kValidApplication, "</manifes>"}), 3, "Start-end tags mismatch"},
    {"NoXml", "hello", 1, ""},
    {"TooLong", kOpen + std::string(1024 * 1024, ' '), 1, "the manifest is longer than"},
    {"WrongRoot", Lines({"", "<package/>"}), 2, "the root element is <package>"},
    {"MissingPackageId", Lines({R"(<manifest version="1.0.0">)", kValidApplication, "</manifest>"}),
     1, "the package id is missing"},
    {"PackageIdWithASlash",
     Lines({R"(<manifest package="a/b" version="1.0.0">)", kValidApplication, "</manifest>"}), 1,
     "\"a/b\" is not a package id"},
    {"PackageIdOfDots",
     Lines({R"(<manifest package=".." version="1.0.0">)", kValidApplication, "</manifest>"}), 1,
     "\"..\" is not a package id"},
    {"LongPackageId",
     Lines({"<manifest package=\"" + std::string(50, 'a') + "\" version=\"1.0.0\">",
            kValidApplication, "</manifest>"}),
     1, "\"" + std::string(50, 'a') + "\" is not a package id"},
    {"MissingVersion",
     Lines({R"(<manifest package="org.test.q">)", kValidApplication, "</manifest>"}), 1,
     "the version is missing"},
    {"VersionOfTwoNumbers",
     Lines({R"(<manifest package="org.test.q" version="1.0">)", kValidApplication, "</manifest>"}),
     1, "\"1.0\" is not a version"},
    {"VersionTooHigh",
     Lines({R"(<manifest package="org.test.q" version="1.256.0">)", kValidApplication,
            "</manifest>"}),
     1, "\"1.256.0\" is not a version"},
    {"NoApplication", Lines({"<?xml version=\"1.0\"?>", kOpen, "</manifest>"}), 2,
     "the package has no application"},
    {"ElementsOfAnyDepth", kOpen + Nested(100'000) + "</manifest>", 1,
     "the package has no application"},
    {"MissingAppId", Lines({kOpen, "", Application("exec=\"app\""), "</manifest>"}), 3,
     "the application id is missing"},
    {"AppIdWithASlash", Lines({kOpen, Application("appid=\"../x\" exec=\"app\""), "</manifest>"}),
     2, "\"../x\" is not an application id"},
    {"ReservedAppId", Lines({kOpen, Application("appid=\"host.qor\" exec=\"app\""), "</manifest>"}),
     2, "\"host.qor\" is reserved for a process that is not installed"},
    {"ReservedAppIdInCapitals",
     Lines({kOpen, Application("appid=\"HoSt.x\" exec=\"app\""), "</manifest>"}), 2,
     "\"HoSt.x\" is reserved"},
    {"HiddenAppId", Lines({kOpen, Application("appid=\".x\" exec=\"app\""), "</manifest>"}), 2,
     "\".x\" is not an application id"},
    {"AppIdWithABlank", Lines({kOpen, Application("appid=\"a b\" exec=\"app\""), "</manifest>"}), 2,
     "\"a b\" is not an application id"},
    {"LongAppId",
     Lines({kOpen, Application("appid=\"" + std::string(80, 'a') + "\" exec=\"app\""),
            "</manifest>"}),
     2, "\"" + std::string(80, 'a') + "\" is not an application id"},
    {"AppIdTwice",
     Lines({kOpen, kValidApplication, Application("appid=\"org.test.q.app\" exec=\"other\""),
            "</manifest>"}),
     3, "duplicate application id org.test.q.app"},
    {"ExecutableTwice",
     Lines({kOpen, kValidApplication, Application("appid=\"org.test.q.two\" exec=\"app\""),
            "</manifest>"}),
     3, "application org.test.q.app has the same executable"},
    {"AppIdOfAnotherPackage",
     Lines({kOpen, Application("appid=\"org.test.p.app\" exec=\"app\""), "</manifest>"}), 2,
     "application org.test.p.app belongs to installed package org.test.p"},
    {"MissingExec", Lines({kOpen, Application("appid=\"a\""), "</manifest>"}), 2,
     "the application has no exec"},
    {"AbsoluteExec", Lines({kOpen, Application("appid=\"a\" exec=\"/bin/true\""), "</manifest>"}),
     2, "exec \"/bin/true\" is absolute"},
    {"ExecWithDots", Lines({kOpen, Application("appid=\"a\" exec=\"../outside\""), "</manifest>"}),
     2, "exec \"../outside\" has a \"..\""},
    {"ExecThatDoesNotExist",
     Lines({kOpen, Application("appid=\"a\" exec=\"none\""), "</manifest>"}), 2,
     "bin/none does not exist"},
    {"ExecThatIsAFolder", Lines({kOpen, Application("appid=\"a\" exec=\"folder\""), "</manifest>"}),
     2, "bin/folder is not a file"},
    {"ExecThatIsNotExecutable",
     Lines({kOpen, Application("appid=\"a\" exec=\"plain\""), "</manifest>"}), 2,
     "bin/plain is not executable"},
    {"MetadataWithoutKey",
     Lines({kOpen, R"(<service-application appid="a" exec="app">)", R"(<metadata key="k"/>)",
            R"(<metadata value="v"/>)", "</service-application>", "</manifest>"}),
     4, "metadata without a key"},
    {"PrivilegeWithoutName",
     Lines({kOpen, kValidApplication, "<privileges>", "<privilege> </privilege>", "</privileges>",
            "</manifest>"}),
     4, "privilege without a name"},
};

INSTANTIATE_TEST_SUITE_P(Manifest, InvalidManifestTest, testing::ValuesIn(kInvalidManifests),
                         [](const auto& invalid) { return std::string(invalid.param.name); });

class ManifestTest : public test::PlatformTest {};

TEST_F(ManifestTest, ParsesPackage) {
  const std::string folder = Folder() + "/package";
  WriteFile(folder + "/bin/ui", "#!", true);
  WriteFile(folder + "/bin/deep/service", "#!", true);
  WriteFile(folder + "/bin/watch", "#!", true);
  WriteFile(folder + "/bin/widget", "#!", true);
  WriteFile(folder + "/tizen-manifest.xml", R"(<?xml version="1.0"?>
    <manifest xmlns="http://tizen.org/ns/packages" package="p" version="255.0.65535" preload="true">
      <profile name="common"/>
      <ui-application appid="p.ui" exec="ui"/>
      <service-application appid="p.service" exec="deep/service">
        <label>l</label>
        <metadata key="b" value="1 &amp; 2"/>
        <metadata key="a"/>
      </service-application>
      <watch-application appid="p.watch" exec="watch"/>
      <widget-application appid="p.widget" exec="widget"/>
      <privileges>
        <privilege>http://tizen.org/privilege/datasharing</privilege>
        <privilege>
          http://tizen.org/privilege/appmanager.launch
        </privilege>
      </privileges>
    </manifest>)");
  const PackageRecord package = ReadManifest(folder, "shown");
  EXPECT_EQ(package.id, "p");
  EXPECT_EQ(package.version, "255.0.65535");
  EXPECT_TRUE(package.preload);
  ASSERT_EQ(package.applications.size(), 4U);
  EXPECT_EQ(package.applications[0].kind, ApplicationKind::kUi);
  EXPECT_EQ(package.applications[1].kind, ApplicationKind::kService);
  EXPECT_EQ(package.applications[1].executable, "bin/deep/service");
  EXPECT_EQ(package.applications[1].metadata,
            (std::vector<std::pair<std::string, std::string>>{{"b", "1 & 2"}, {"a", ""}}));
  EXPECT_EQ(package.applications[2].kind, ApplicationKind::kWatch);
  EXPECT_EQ(package.applications[3].kind, ApplicationKind::kWidget);
  EXPECT_EQ(package.privileges,
            (std::vector<std::string>{"http://tizen.org/privilege/datasharing",
                                      "http://tizen.org/privilege/appmanager.launch"}));
}

TEST_F(ManifestTest, ResolvesLinkToExecutable) {
  const std::string folder = Folder() + "/package";
  WriteFile(folder + "/bin/real", "#!", true);
  fs::create_symlink("real", folder + "/bin/app");
  WriteFile(folder + "/tizen-manifest.xml", Lines({kOpen, kValidApplication, "</manifest>"}));
  EXPECT_EQ(ReadManifest(folder, "shown").applications[0].executable, "bin/real");
}

TEST_F(ManifestTest, RejectsTooManyApplications) {
  constexpr int kMax = 16;
  const std::string folder = Folder() + "/package";
  const auto manifest_of = [&folder](int applications) {
    std::string text = Lines({kOpen});
    for (int i = 0; i < applications; ++i) {
      const std::string name = "app" + std::to_string(i);
      WriteFile(folder + "/bin/" + name, "#!", true);
      text += Lines({Application("appid=\"" + name + "\" exec=\"" + name + "\"")});
    }
    return text + "</manifest>";
  };
  WriteFile(folder + "/tizen-manifest.xml", manifest_of(kMax));
  EXPECT_EQ(ReadManifest(folder, "shown").applications.size(), static_cast<size_t>(kMax));
  WriteFile(folder + "/tizen-manifest.xml", manifest_of(kMax + 1));
  try {
    ReadManifest(folder, "shown");
    ADD_FAILURE() << "not rejected";
  } catch (const InvalidPackageError& invalid) {
    EXPECT_EQ(std::string(invalid.what()),
              "shown/tizen-manifest.xml:18: the package has more than 16 applications");
  }
}

}  // namespace
}  // namespace platform
